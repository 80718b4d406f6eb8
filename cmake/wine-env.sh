# The Wine prefix of this project; sourced by cmake/wine-run and ./dev. Needs $root.
export WINEPREFIX=${VDIPC_WINEPREFIX:-$root/build/wine}
export WINEDEBUG=${WINEDEBUG:--all} WINEDLLOVERRIDES="mscoree,mshtml=;winedbg.exe=d;wscript.exe=n,b" WINEARCH=win64
export LC_ALL=C.UTF-8
# Wine links its folders for documents and the like to the user's: give it an empty home.
export HOME=$root/build/wine-home
unset DISPLAY WAYLAND_DISPLAY LANG LANGUAGE XDG_CONFIG_HOME XDG_DATA_HOME XDG_CACHE_HOME

# Wine's script host refuses a switch that Windows' takes, and programs are looked for in Windows' folder first. So a
# small one of ours (tools/wine/wscript.cpp) stands in the prefix, and calls Wine's own where that lies.
for vdipc_wscript in /usr/lib/*/wine/x86_64-windows/wscript.exe /usr/lib/wine/x86_64-windows/wscript.exe; do
  [ ! -e "$vdipc_wscript" ] || break
done
export VDIPC_WSCRIPT="Z:${vdipc_wscript//\//\\}"
vdipc_wine_install_shim() { # shim
  local place=$WINEPREFIX/drive_c/windows/system32/wscript.exe
  cmp -s "$1" "$place" || { cp "$1" "$place.$$" && mv -f "$place.$$" "$place"; }
}

vdipc_wine_alive() {
  local id
  id=$(stat -c '%D-%i' "$WINEPREFIX" 2>/dev/null) || return 1
  [ -S "/tmp/.wine-$(id -u)/server-${id%%-*}-$(printf %x "${id##*-}")/socket" ]
}

# Makes the prefix where it is missing, and starts Wine's services where they don't run. They are started here,
# detached, because a test runner waits for the end of everybody who holds its pipe, and they never end by themselves.
vdipc_wine_boot() {
  [ -e "$WINEPREFIX/vdipc-ready" ] && vdipc_wine_alive && return 0
  mkdir -p "$(dirname "$WINEPREFIX")" "$HOME"
  (
    exec 9>"${WINEPREFIX%/}.lock"
    flock 9
    if [ ! -e "$WINEPREFIX/vdipc-ready" ]; then
      rm -rf "$WINEPREFIX"
      mkdir -p "$WINEPREFIX"
      # No display: windows come from the null driver, which takes effect with the next start of the server. No service
      # that tells of devices: the thread that listens to it hangs the end of a process now and then, and the tests make
      # all such notices themselves.
      { timeout 300 wineboot -i && wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f &&
        wine reg add 'HKLM\System\CurrentControlSet\Services\PlugPlay' /v Start /t REG_DWORD /d 4 /f &&
        wineserver -k && wineserver -w; } </dev/null >"$WINEPREFIX.log" 2>&1 9>&- 8>&- ||
        { echo "wine-run: no Wine prefix could be made, see $WINEPREFIX.log" >&2; exit 1; }
      # Folders of the prefix's own in place of links to the user's.
      find "$WINEPREFIX/drive_c/users" -type l -exec sh -c 'rm "$1" && mkdir "$1"' sh {} \;
      touch "$WINEPREFIX/vdipc-ready"
    fi
    if ! vdipc_wine_alive; then
      # The server stays for a minute behind its last program.
      wineserver -p60 </dev/null >/dev/null 2>&1 9>&- 8>&-
      setsid wine cmd /c exit </dev/null >/dev/null 2>&1 9>&- 8>&-
    fi
  ) || return 1
}

# Takes a prefix of the pool for as long as the calling shell lives; waits where all are taken. They are copies of the
# project's prefix that share the files of Windows' own folder with it.
vdipc_wine_take_slot() { # size of the pool
  local template=$root/build/wine pool=$root/build/wine-pool slot
  [ -e "$template/vdipc-ready" ] || vdipc_wine_boot || return 1
  mkdir -p "$pool"
  vdipc_slot=
  while [ -z "$vdipc_slot" ]; do
    for ((slot = 1; slot <= $1; ++slot)); do
      exec 8>"$pool/$slot.taken"
      flock -n 8 && vdipc_slot=$slot && break
    done
    [ -n "$vdipc_slot" ] || sleep 0.2
  done
  export WINEPREFIX=$pool/$vdipc_slot
  # Whoever was killed here may have left programs that serve the pipe.
  [ ! -e "$pool/$vdipc_slot.running" ] || { wineserver -k || true; wineserver -w || true; } 8>&- >/dev/null 2>&1
  touch "$pool/$vdipc_slot.running"
  [ -e "$WINEPREFIX/vdipc-ready" ] && return 0
  (
    rm -rf "$WINEPREFIX" && mkdir -p "$WINEPREFIX/drive_c" && cd "$template" &&
      cp -a ./*.reg .update-timestamp dosdevices "$WINEPREFIX/" && cp -al drive_c/windows "$WINEPREFIX/drive_c/" &&
      find drive_c -mindepth 1 -maxdepth 1 ! -name windows -exec cp -a {} "$WINEPREFIX/drive_c/" \; &&
      touch "$WINEPREFIX/vdipc-ready"
  ) || { echo "wine-run: $WINEPREFIX could not be made" >&2; return 1; }
}
