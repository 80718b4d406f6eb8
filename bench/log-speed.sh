#!/bin/bash
# log-speed.sh LOG...
# How fast vdlog reads a log of 1 GB, beside grep for one fixed word on the same file. The file is made of the logs that are
# named, one after the other, again and again, and is removed at the end. Wants the native release build: ./dev build native-release
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
program=${VDLOG:-$root/build/native-release/bin/vdlog}
size=${SIZE:-1000000000}
[ $# -gt 0 ] || { sed -n '2,4s/^# //p' "$0" >&2; exit 2; }
[ -x "$program" ] || { echo "$program isn't there: ./dev build native-release" >&2; exit 2; }
[ -x /usr/bin/time ] || { echo "needs the package 'time'" >&2; exit 2; }
big=$(mktemp "${TMPDIR:-/tmp}/vdlog.XXXXXX")
trap 'rm -f "$big" "$big.time"' EXIT
while [ "$(stat -c %s "$big")" -lt "$size" ]; do cat "$@" >>"$big"; done
bytes=$(stat -c %s "$big")
cat "$big" >/dev/null  # from memory, for all of them

measure() { # name, command...
  local name=$1 figures
  shift
  # Into a pipe: grep would stop at the first line that fits where nobody reads its output.
  /usr/bin/time -o "$big.time" -f "%e %U %S %M" "$@" | cat >/dev/null
  figures=$(tail -n 1 "$big.time")
  awk -v name="$name" -v bytes="$bytes" '{ cpu = $2 + $3
    printf "%-22s %7.2f s elapsed %7.2f s processor %6.0f MB/s of processor time %7.1f MB of memory\n", name, $1, cpu,
           bytes / 1e6 / cpu, $4 / 1024 }' <<<"$figures"
}

echo "$bytes bytes of $*"
measure "grep -c" env LC_ALL=C grep -a -c OnKeypadEvent "$big"
for command in summary why; do
  measure "vdlog $command" "$program" "$command" "$big"
done
measure "grep -c" env LC_ALL=C grep -a -c OnKeypadEvent "$big"
