#!/bin/bash
# make-headers.sh FOLDER: wrapper headers that let clang's Microsoft mode read the headers of MinGW-w64 and libstdc++.
#
# Those headers need GCC's macros, and this project's code must not see them. So each wrapper raises the macros, reads
# the real header, and takes them away again. What MSVC doesn't have is poisoned outside the toolchain's own headers:
# naming it is an error. A system header that isn't wrapped yet shows as errors inside the toolchain's headers: add its
# name to the list below.
set -euo pipefail
out=$1
# It is emptied first, so it must not be anything else.
[ ! -e "$out" ] || [ -d "$out" ] || { echo "$out is no folder" >&2; exit 1; }
rm -rf "$out"
mkdir -p "$out"

poisoned='__attribute__ __int128 strcasecmp strncasecmp ssize_t pid_t useconds_t usleep nanosleep gettimeofday
  localtime_r gmtime_r strtok_r asprintf vasprintf mkstemp'
gnu='__GNUC__=12 __GNUC_MINOR__=2 __GNUC_PATCHLEVEL__=0 __GNUG__=12 __GXX_ABI_VERSION=1002 __GXX_WEAK__=1
  __STRICT_ANSI__=1 __MINGW32__=1'

{
  for macro in $gnu; do echo "#define ${macro%=*} ${macro#*=}"; done
  echo '#define __declspec(x) __declspec(x)'
  for name in $poisoned; do echo "#undef $name"; done
} >"$out/ms_push.h"
{
  for macro in $gnu; do echo "#undef ${macro%=*}"; done
  echo '#undef __MINGW64__'
  echo '#undef __declspec'
  echo '#ifndef MS_THIRD_PARTY'
  for name in $poisoned; do echo "#define $name msvc_has_no_$name"; done
  echo '#define __attribute__(x) msvc_has_no___attribute__'
  echo '#endif'
} | sed '/^#define __attribute__ /d' >"$out/ms_pop.h"
for name in $poisoned; do echo "#undef $name"; done >"$out/ms_unpoison.h"

up() { case $1 in */*) echo ../ ;; esac }

# Headers of other libraries: Microsoft's macros, without the poison.
for header in json/json.h json/value.h json/reader.h json/writer.h fmt/core.h fmt/format.h fmt/chrono.h fmt/ranges.h \
  fmt/xchar.h fmt/printf.h; do
  mkdir -p "$out/$(dirname "$header")"
  cat >"$out/$header" <<H
#pragma GCC system_header
#ifdef MS_THIRD_PARTY
#include_next <$header>
#else
#define MS_THIRD_PARTY 1
#include "../ms_unpoison.h"
#include_next <$header>
#undef MS_THIRD_PARTY
#include "../ms_push.h"
#include "../ms_pop.h"
#endif
H
done

# Headers that MSVC doesn't have.
for header in unistd.h sys/time.h dirent.h pthread.h strings.h getopt.h sched.h libgen.h cxxabi.h bits/stdc++.h \
  x86intrin.h cpuid.h; do
  mkdir -p "$out/$(dirname "$header")"
  cat >"$out/$header" <<H
#pragma GCC system_header
#ifdef MS_INSIDE
#include_next <$header>
#else
#error <$header> does not exist with MSVC
#endif
H
done

# Headers of the language, the run-time and the system.
for header in algorithm any array atomic barrier bit bitset cassert cctype cerrno cfloat charconv chrono cinttypes \
  climits clocale cmath codecvt compare complex concepts condition_variable coroutine csetjmp csignal cstdarg cstddef \
  cstdint cstdio cstdlib cstring ctime cwchar cwctype deque exception execution filesystem forward_list fstream \
  functional future initializer_list iomanip ios iosfwd iostream istream iterator latch limits list locale map memory \
  memory_resource mutex new numbers numeric optional ostream queue random ranges ratio regex scoped_allocator semaphore \
  set shared_mutex source_location span sstream stack stdexcept stop_token streambuf string string_view syncstream \
  system_error thread tuple type_traits typeindex typeinfo unordered_map unordered_set utility valarray variant vector \
  version assert.h ctype.h errno.h fcntl.h float.h inttypes.h io.h limits.h locale.h malloc.h math.h process.h share.h \
  signal.h stdarg.h stddef.h stdint.h stdio.h stdlib.h string.h sys/stat.h sys/types.h sys/timeb.h time.h wchar.h \
  wctype.h intrin.h immintrin.h emmintrin.h xmmintrin.h windows.h windowsx.h winsock2.h ws2tcpip.h shellapi.h shlobj.h \
  shlobj_core.h knownfolders.h shlwapi.h commctrl.h objbase.h combaseapi.h ole2.h oleauto.h dbghelp.h dbt.h rpc.h \
  rpcdce.h initguid.h guiddef.h tlhelp32.h psapi.h winhttp.h mmsystem.h bcrypt.h direct.h usbiodef.h winternl.h; do
  mkdir -p "$out/$(dirname "$header")"
  cat >"$out/$header" <<H
#pragma GCC system_header
#ifdef MS_INSIDE
#include_next <$header>
#else
#define MS_INSIDE 1
#include "$(up "$header")ms_push.h"
#include_next <$header>
#include "$(up "$header")ms_pop.h"
#undef MS_INSIDE
#endif
H
done

# The shell's header asks for identifiers of interfaces by a keyword, and MinGW-w64's declarations don't carry them.
for header in shlobj.h shlobj_core.h; do
  sed -i 's|^#include_next.*|#include <windows.h>\n#include <objbase.h>\n#undef IID_PPV_ARGS\n#define IID_PPV_ARGS(p) IID_NULL, IID_PPV_ARGS_Helper(p)\n&|' "$out/$header"
done
