#!/bin/bash
# Usage: build-dependencies.sh DIR [benchmark]
# Fetches the pinned source packages with a private deb-src list and builds them into DIR/mingw (cross) and
# DIR/native (this machine's compiler), both at once. DIR/complete is written last: a broken run is simply run again.
# With "benchmark", which only the preset mingw-release needs, that one alone, and DIR/benchmark-complete.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
. "$here/dependencies.sh"
dir=$(realpath -m "$1")
mkdir -p "$dir"/{log,src,apt/lists/partial,apt/archives/partial}

step() { # what log command...
  local what=$1 log=$dir/log/$2.log started=$SECONDS
  shift 2
  if ! "$@" >"$log" 2>&1; then
    printf '   %-34sFAILED\n' "$what"
    tail -n 30 "$log" >&2
    echo "The whole log is $log" >&2
    exit 1
  fi
  printf '   %-34s%4d s\n' "$what" $((SECONDS - started))
}

# The package manager's own list of hosts, read as a list of sources. A list of our own needs a state
# directory of its own: an update with it would empty the machine's.
write_lists() {
  local f out=$dir/apt/private.sources list=$dir/apt/private.list
  : >"$out"
  : >"$list"
  for f in /etc/apt/sources.list.d/*.sources; do
    [ -e "$f" ] || continue
    sed -E 's/^Types:.*$/Types: deb-src/' "$f" >>"$out"
    echo >>"$out"
  done
  for f in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
    [ -e "$f" ] || continue
    sed -nE 's/^[[:space:]]*deb[[:space:]]/deb-src /p' "$f" >>"$list"
  done
  [ -s "$out" ] || [ -s "$list" ] || { echo "no package lists under /etc/apt" >&2; return 1; }
  mkdir -p "$dir/apt/parts"
  mv "$out" "$dir/apt/parts/private.sources"
  mv "$list" "$dir/apt/parts/private.list"
}
apt_options=(-o Dir::Etc::sourcelist=/dev/null -o Dir::Etc::sourceparts="$dir/apt/parts"
  -o Dir::State::lists="$dir/apt/lists" -o Dir::Cache="$dir/apt" -o APT::Sandbox::User="$(id -un)")

update() { write_lists && apt-get "${apt_options[@]}" update; }

fetch() { # source-package upstream-version
  local revision
  revision=$(apt-cache "${apt_options[@]}" showsrc --only-source "$1" | sed -n 's/^Version: //p' |
    grep -E "^([0-9]+:)?${2//./\\.}([-+~]|\$)" | sort -V | tail -n 1)
  [ -n "$revision" ] || { echo "$1 $2 is not among the machine's source packages" >&2; return 1; }
  rm -rf "$dir/src/$1" && mkdir -p "$dir/src/$1.download"
  (cd "$dir/src/$1.download" && apt-get "${apt_options[@]}" source --download-only "$1=$revision" &&
    dpkg-source -x ./*.dsc "$dir/src/$1")
  rm -rf "$dir/src/$1.download"
  echo "$1 $revision" >>"$dir/revisions"
}

build() { # mingw|native name source cmake-options...
  local kind=$1 name=$2 source=$3
  shift 3
  local options=(-DCMAKE_BUILD_TYPE=Release -DBUILD_SHARED_LIBS=OFF -DCMAKE_CXX_STANDARD=20
    -DCMAKE_POSITION_INDEPENDENT_CODE=ON -DCMAKE_INSTALL_LIBDIR=lib -DCMAKE_INSTALL_PREFIX="$dir/$kind")
  [ "$kind" = native ] || options+=(-DCMAKE_TOOLCHAIN_FILE="$here/mingw-toolchain.cmake" -DVDIPC_DEPS="$dir")
  cmake -G Ninja -S "$dir/src/$source" -B "$dir/work/$kind-$name" "${options[@]}" "$@" &&
    cmake --build "$dir/work/$kind-$name" && cmake --install "$dir/work/$kind-$name"
}

build_all() { # kind
  local kind=$1 threads=()
  step "jsoncpp ($kind)" "$kind-jsoncpp" build "$kind" jsoncpp libjsoncpp -DJSONCPP_WITH_TESTS=OFF \
    -DJSONCPP_WITH_POST_BUILD_UNITTEST=OFF -DJSONCPP_WITH_PKGCONFIG_SUPPORT=OFF -DBUILD_STATIC_LIBS=ON \
    -DBUILD_OBJECT_LIBS=OFF
  step "fmt ($kind)" "$kind-fmt" build "$kind" fmt fmtlib -DFMT_TEST=OFF -DFMT_DOC=OFF
  # With winpthreads as the compiler's thread model, GoogleTest is told to use the system's own primitives.
  [ "$kind" != mingw ] || threads=(-Dgtest_disable_pthreads=ON)
  step "googletest ($kind)" "$kind-googletest" build "$kind" googletest googletest -DBUILD_GMOCK=ON \
    -DCMAKE_CXX_FLAGS_RELEASE=-O1 "${threads[@]}"
  mkdir -p "$dir/$kind/include"
  cp "$dir/src/cpp-httplib/httplib.h" "$dir/$kind/include/"
}

[ "${2:-}" = benchmark ] || rm -f "$dir/revisions" "$dir/complete"
step "package lists" update update
for entry in "${VDIPC_SOURCES[@]}"; do
  [ "${entry%% *}" = benchmark ] && only=benchmark || only=
  # shellcheck disable=SC2086 # name and version are two words on purpose
  [ "${2:-}" != "$only" ] || step "fetch $entry" "fetch-${entry%% *}" fetch $entry
done
if [ "${2:-}" = benchmark ]; then
  # The checks at configure time would run programs of the other system.
  step "benchmark (mingw)" mingw-benchmark build mingw benchmark benchmark -DBENCHMARK_ENABLE_TESTING=OFF \
    -DBENCHMARK_ENABLE_WERROR=OFF -DBENCHMARK_INSTALL_DOCS=OFF -DGIT_VERSION=1.7.1 -DHAVE_STD_REGEX=1 \
    -DHAVE_STEADY_CLOCK=1
else
  # Each source compiles for long on one processor only.
  build_all mingw &
  mingw=$!
  build_all native &
  native=$!
  failed=
  wait $mingw || failed=1
  wait $native || failed=1
  [ -z "$failed" ] || exit 1
fi
rm -rf "$dir/work" "$dir/apt" "$dir/src"
touch "$dir/${2:+$2-}complete"
