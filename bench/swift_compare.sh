#!/bin/bash
# Upload and download of one large file through Swift (its own auth) with two clients:
# norvik-cloud (this library's Swift connection) and Swift's own client (python3-swiftclient).
# Both upload in segments as static large objects (8 MiB, the library's default part size)
# and download the whole object. Prints wall time, rate, CPU seconds per GiB and peak resident
# set of the client process for each transfer.
#
# Usage: bench/swift_compare.sh [SIZE_MIB]          (default 1024)
# Environment: NORVIK_CLOUD (default build/tools/norvik-cloud), TMPDIR, BENCH_TSV (a file that
#   gets one tab-separated line per transfer, bench/tsv.sh), and those of bench/swift-bench.sh:
#   a Swift of its own (BENCH_SWIFT_PORT, default 18080, ...), so that the test suite's Swift on
#   port 8080 is neither disturbed nor able to disturb a run; stopped and removed at the end.
#
# Every download is compared with the source byte for byte; every step starts after sync().
# The server runs on the same machine: its CPU is not counted but competes for the cores.
# Exit status 0 when every transfer succeeded and verified, 1 otherwise.
set -euo pipefail
HERE="$(cd "$(dirname "$0")" && pwd)"
REPO="$(cd "$HERE/.." && pwd)"
. "$HERE/tsv.sh"
SIZE_MIB="${1:-1024}"
[[ "$SIZE_MIB" =~ ^[1-9][0-9]*$ ]] || { echo "usage: $0 [SIZE_MIB]" >&2; exit 2; }
NORVIK_CLOUD="${NORVIK_CLOUD:-$REPO/build/tools/norvik-cloud}"
[ -x "$NORVIK_CLOUD" ] || { echo "norvik-cloud not found: build it or set NORVIK_CLOUD" >&2; exit 2; }
SWIFT=/usr/bin/swift
[ -x /usr/bin/time ] || { . "$REPO/tests/servers/lib.sh"; ct_apt_install time; }
[ -x "$SWIFT" ] || { echo "Swift's client is missing (python3-swiftclient)" >&2; exit 1; }

# Sets WORK, ENDPOINT (S3), BUCKET (made through S3, the same container for Swift's own API),
# and stops Swift and removes its state and WORK at exit.
. "$HERE/swift-bench.sh"
swift_bench_start swiftbench >/dev/null
ENDPOINT="${ENDPOINT%/}"
CONTAINER="$BUCKET"

cat > "$WORK/config.json" <<JSON
{"CloudType": "Openstack", "Endpoint": "$ENDPOINT/auth/v1.0", "UseSsl": false,
 "Username": "test:tester", "ApiKey": "testing", "ContainerName": "$CONTAINER"}
JSON
echo "[swift_compare] writing $SIZE_MIB MiB of random data" >&2
head -c $((SIZE_MIB * 1048576)) /dev/urandom > "$WORK/source.bin"

rows=()
failed=0
# measure NAME DIRECTION CHECK-FILE COMMAND...: one transfer under /usr/bin/time; a download's
# CHECK-FILE is then compared with the source (an upload is checked by the download after it).
measure() {
  local name="$1" direction="$2" check="$3" status=ok wall=0 user=0 sys=0 rss=0; shift 3
  sync
  rm -f "$WORK/time"
  if ! /usr/bin/time -f '%e %U %S %M' -o "$WORK/time" "$@" > "$WORK/out" 2>&1; then
    echo "[swift_compare] $name $direction failed:" >&2; tail -5 "$WORK/out" >&2; status=failed
  elif [ -n "$check" ] && ! cmp -s "$WORK/source.bin" "$check"; then
    echo "[swift_compare] $name $direction differs from the source" >&2; status=MISMATCH
  fi
  [ -s "$WORK/time" ] && read -r wall user sys rss < <(tail -n 1 "$WORK/time")
  bench_tsv swift "$name" "$direction" "$wall" "$(awk -v u="$user" -v s="$sys" 'BEGIN { print u + s }')" \
    "$SIZE_MIB" "$rss" "$status"
  if [ "$status" != ok ]; then
    failed=1; rows+=("$(printf '%-14s %-9s %s' "$name" "$direction" "$status")"); return
  fi
  rows+=("$(awk -v n="$name" -v d="$direction" -v w="$wall" -v u="$user" -v s="$sys" -v r="$rss" -v m="$SIZE_MIB" \
    'BEGIN { printf "%-14s %-9s %8.2f %10.1f %12.2f %10.1f", n, d, w, m / w, (u + s) * 1024 / m, r / 1024 }')")
}

measure norvik-cloud upload "" "$NORVIK_CLOUD" --config "$WORK/config.json" put "$WORK/source.bin" /norvik/source.bin
measure norvik-cloud download "$WORK/norvik.bin" \
    "$NORVIK_CLOUD" --config "$WORK/config.json" get /norvik/source.bin "$WORK/norvik.bin"
rm -f "$WORK/norvik.bin"
measure swift upload "" "$SWIFT" -q -A "$ENDPOINT/auth/v1.0" -U test:tester -K testing \
    upload --use-slo -S 8388608 --object-name swift/source.bin "$CONTAINER" "$WORK/source.bin"
measure swift download "$WORK/swift.bin" "$SWIFT" -q -A "$ENDPOINT/auth/v1.0" -U test:tester -K testing \
    download "$CONTAINER" swift/source.bin -o "$WORK/swift.bin"

printf '%s MiB through Swift at %s (client process only; server on the same machine)\n' "$SIZE_MIB" "$ENDPOINT"
printf '%-14s %-9s %8s %10s %12s %10s\n' client direction wall_s MiB/s CPU_s/GiB peak_MiB
printf '%s\n' "${rows[@]}"
exit $failed
