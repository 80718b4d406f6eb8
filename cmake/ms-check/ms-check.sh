#!/bin/bash
# ms-check.sh [FILES...]: compiles src/ (or FILES) for syntax alone as MSVC would: clang's Microsoft mode, Microsoft's
# macros, GCC's out of sight. It is clang's idea of MSVC with another standard library: it finds extensions, missing
# includes and wrong macros, not what only MSVC's own library or its warnings would say.
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
headers=$root/build/ms-check
mkdir -p "$root/build"
[ "$headers/windows.h" -nt "$root/cmake/ms-check/make-headers.sh" ] ||
  "$root/cmake/ms-check/make-headers.sh" "$headers"
gcc=$(dirname "$(x86_64-w64-mingw32-g++-posix -print-libgcc-file-name)")/include/c++
command=(clang++ --target=x86_64-pc-windows-msvc -std=c++20 -fsyntax-only
  -fms-compatibility -fms-extensions -fms-compatibility-version=19.40 -fgnuc-version=12.2.0
  -include "$headers/ms_pop.h" -nostdinc++ -U__SIZEOF_INT128__ -D_MT -D_DLL
  -DNOMINMAX -DWIN32_LEAN_AND_MEAN -DUNICODE -D_UNICODE -D_WIN32_WINNT=0x0A00
  -isystem "$headers" -isystem "$gcc" -isystem "$gcc/x86_64-w64-mingw32" -isystem "$gcc/backward"
  -isystem /usr/x86_64-w64-mingw32/include -isystem "$root/build/deps/mingw/include" -I "$root/src"
  -Wall -Wextra -Wpedantic -Wgnu -Wvla-extension -Wno-unknown-warning-option -Werror)
if [ $# -eq 0 ]; then
  # A header that a source includes before anything else is compiled alone already.
  mapfile -t files < <(cd "$root/src" && find . \( -name '*.cpp' -o -name '*.h' \) -printf '%P\n' | sort |
    grep -vxFf <(grep -hm1 -r --include='*.cpp' '^#include' . | sed -n 's/^#include "\(.*\)"$/\1/p') | sed "s|^|$root/src/|")
else
  files=("$@")
fi
# Compiler built-ins pass clang's Microsoft mode, but not MSVC.
if grep -nE '__builtin_|__PRETTY_FUNCTION__' "${files[@]}" | grep -v 'FunctionName\.h'; then
  echo "these names don't exist with MSVC" >&2
  exit 1
fi
printf '%s\0' "${files[@]}" |
  xargs -0 -P "$(nproc)" -I{} "${command[@]}" -x c++ -Wno-pragma-once-outside-header {}
echo "${#files[@]} files compile in Microsoft mode"
