#!/bin/bash
# Upload and download of one large file to a folder storage on the local disk: norvik-cloud
# (--local, the library's engine and its file-system storage) against cp of the same file on
# the same disk, the floor that any client has to stand on. Prints a table of wall time, rate,
# CPU seconds per GiB and peak resident set for each transfer, then, when it is built, the
# table of bench_transfer (the same engine inside one process, with its memory budget).
#
# Usage: bench/fs_compare.sh [SIZE_MIB]            (default 1024)
#
# Environment:
#   NORVIK_CLOUD        the norvik-cloud binary (default: build/tools/norvik-cloud in the repository)
#   BENCH_TRANSFER      the bench_transfer binary (default: build/bench/bench_transfer; skipped
#                       when missing), BENCH_TRANSFER_RUNS its runs (default 1)
#   TMPDIR              where the source file, the storage folder and the downloads are made
#                       (about four times the size free)
#   BENCH_TSV           a file that gets one tab-separated line per transfer (bench/tsv.sh), for
#                       bench/compare_all.sh
#
# Every step starts after sync() and is timed by /usr/bin/time (wall, user + system CPU, peak
# resident set of the process); every copy is compared with the source (cmp). norvik-cloud runs
# with its defaults (parts of 8 MiB above 8 MiB, engine threads and memory budget).
# Exit status: 0 when every transfer verified, 1 otherwise (the table is still printed).
set -euo pipefail

HERE="$(cd "$(dirname "$0")" && pwd)"
REPO="$(cd "$HERE/.." && pwd)"
. "$HERE/tsv.sh"
SIZE_MIB="${1:-1024}"
[[ "$SIZE_MIB" =~ ^[1-9][0-9]*$ ]] || { echo "usage: $0 [SIZE_MIB]" >&2; exit 2; }
NORVIK_CLOUD="${NORVIK_CLOUD:-$REPO/build/tools/norvik-cloud}"
[ -x "$NORVIK_CLOUD" ] || { echo "norvik-cloud not found at $NORVIK_CLOUD (build the norvik-cloud target)" >&2; exit 2; }
BENCH_TRANSFER="${BENCH_TRANSFER:-$REPO/build/bench/bench_transfer}"
[ -x /usr/bin/time ] || { . "$REPO/tests/servers/lib.sh"; ct_apt_install time; }

WORK="$(mktemp -d "${TMPDIR:-/tmp}/norvik-fsbench.XXXXXX")"
trap 'rm -rf "$WORK"' EXIT
mkdir "$WORK/storage"
echo "[fs_compare] writing $SIZE_MIB MiB of random data" >&2
head -c "$((SIZE_MIB * 1048576))" /dev/urandom > "$WORK/source.bin"

rows=()
failed=0
# measure TOOL DIRECTION CHECK-FILE COMMAND...: one timed step, then cmp of CHECK-FILE against
# the source.
measure() {
  local tool="$1" direction="$2" check="$3" status=ok wall=0 user=0 sys=0 rss=0; shift 3
  sync
  rm -f "$WORK/time"
  if ! /usr/bin/time -o "$WORK/time" -f '%e %U %S %M' "$@" >/dev/null 2>"$WORK/err"; then
    status=FAILED
  elif ! cmp -s "$WORK/source.bin" "$check"; then
    status=DIFFERS
  fi
  [ "$status" = ok ] || { failed=1; echo "[fs_compare] $tool $direction: $status" >&2; tail -5 "$WORK/err" >&2; }
  [ -s "$WORK/time" ] && read -r wall user sys rss < <(tail -n 1 "$WORK/time")
  bench_tsv file "$tool" "$direction" "$wall" "$(awk -v u="$user" -v s="$sys" 'BEGIN { print u + s }')" \
    "$SIZE_MIB" "$rss" "$status"
  rows+=("$tool $direction $wall $user $sys $rss $status")
}

measure norvik-cloud upload "$WORK/storage/norvik.bin" \
  "$NORVIK_CLOUD" --local "$WORK/storage" put "$WORK/source.bin" /norvik.bin
measure norvik-cloud download "$WORK/norvik.back" \
  "$NORVIK_CLOUD" --local "$WORK/storage" get /norvik.bin "$WORK/norvik.back"
rm -f "$WORK/storage/norvik.bin" "$WORK/norvik.back"
measure cp upload "$WORK/storage/cp.bin" cp "$WORK/source.bin" "$WORK/storage/cp.bin"
measure cp download "$WORK/cp.back" cp "$WORK/storage/cp.bin" "$WORK/cp.back"
rm -f "$WORK/storage/cp.bin" "$WORK/cp.back"

echo
echo "$SIZE_MIB MiB to and from a folder on the local disk ($(df -P "$WORK" | awk 'NR == 2 { print $1 }'))"
printf '%-13s %-9s %9s %9s %11s %10s %s\n' client direction "wall s" "MiB/s" "CPU s/GiB" "peak MiB" result
for row in "${rows[@]}"; do
  read -r tool direction wall user sys rss status <<<"$row"
  awk -v t="$tool" -v d="$direction" -v w="$wall" -v u="$user" -v s="$sys" -v r="$rss" -v m="$SIZE_MIB" -v st="$status" \
    'BEGIN { printf "%-13s %-9s %9.2f %9.1f %11.2f %10.1f %s\n", t, d, w, (w > 0 ? m / w : 0), (u + s) * 1024 / m, r / 1024, st }'
done

# The engine inside one process, without the client's start-up and its file handling.
rm -f "$WORK/source.bin"
if [ -x "$BENCH_TRANSFER" ]; then
  TMPDIR="$WORK" "$BENCH_TRANSFER" "$SIZE_MIB" 8 "${BENCH_TRANSFER_RUNS:-1}" ||
    { failed=1; echo "[fs_compare] bench_transfer failed" >&2; }
else
  echo "[fs_compare] $BENCH_TRANSFER is not built; its table is left out" >&2
fi
exit $failed
