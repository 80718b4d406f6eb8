#!/bin/bash
# windows.sh PROGRAM...: runs it (a script of this machine) with a Wine prefix that nobody else has meanwhile, in WINEPREFIX. That
# prefix stands for a Windows machine: nothing but the program's own folder is given to it.
set -u
root=$(cd "$(dirname "$0")/../.." && pwd)
. "$root/cmake/wine-env.sh"
vdipc_wine_take_slot "${VDIPC_WINE_POOL:-1}" && vdipc_wine_boot || exit 125
for shim in "$root"/build/*/bin/wine-shims/wscript.exe; do
  vdipc_wine_install_shim "$shim"
  break
done
"$@"
code=$?
[ $code -eq 0 ] || { wineserver -k; wineserver -w; } 8>&- >/dev/null 2>&1
rm -f "$root/build/wine-pool/$vdipc_slot.running"
exit $code
