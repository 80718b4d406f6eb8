#!/bin/bash
# same_bytes.sh BUILD: links and packs once more what was built there, and compares the packages byte by byte.
set -euo pipefail
build=$1
root=$(cd "$(dirname "$0")/../.." && pwd)
# A second try compares with the first packages too.
first=$build/packages.sha256
[ -e "$first" ] && [ "$first" -nt "$build/CPack-symbols.log" ] || (cd "$build/packages" && sha256sum ./*.zip) >"$first"
find "$build/bin" "$build/lib" -type f ! -name '*.vbs' ! -path '*/wine-shims/*' -delete
"$root/cmake/make-packages" "$build" >/dev/null
touch "$first"
cd "$build/packages"
sha256sum -c "$first"
