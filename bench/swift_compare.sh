#!/bin/bash
# Upload and download of one large file through Swift (its own auth) with two clients:
# norvik-cloud (this library's Swift connection) and Swift's own client (python3-swiftclient).
# Both upload in segments as static large objects (8 MiB, the library's default part size)
# and download the whole object. Prints wall time, rate, CPU seconds per GiB and peak resident
# set of the client process for each transfer.
#
# Usage: bench/swift_compare.sh [SIZE_MIB]          (default 1024)
# Environment: NORVIK_CLOUD (default build/tools/norvik-cloud), TMPDIR, and the variables of
#   tests/servers/start-swift.sh (SWIFT_PORT, SWIFT_BASE_PORT, SWIFT_MEMCACHE_PORT,
#   CLOUDTEST_RUN): the Swift started (or found running) there. It is left running.
#
# Every download is compared with the source byte for byte; every step starts after sync().
# The server runs on the same machine: its CPU is not counted but competes for the cores.
# Exit status 0 when every transfer succeeded and verified, 1 otherwise.
set -euo pipefail
HERE="$(cd "$(dirname "$0")" && pwd)"
REPO="$(cd "$HERE/.." && pwd)"
SIZE_MIB="${1:-1024}"
[[ "$SIZE_MIB" =~ ^[1-9][0-9]*$ ]] || { echo "usage: $0 [SIZE_MIB]" >&2; exit 2; }
NORVIK_CLOUD="${NORVIK_CLOUD:-$REPO/build/tools/norvik-cloud}"
[ -x "$NORVIK_CLOUD" ] || { echo "norvik-cloud not found: build it or set NORVIK_CLOUD" >&2; exit 2; }
SWIFT=/usr/bin/swift
[ -x /usr/bin/time ] || { . "$REPO/tests/servers/lib.sh"; ct_apt_install time; }
ENDPOINT="$("$REPO/tests/servers/start-swift.sh" start)"
[ -x "$SWIFT" ] || { echo "Swift's client is missing (python3-swiftclient)" >&2; exit 1; }

WORK="$(mktemp -d "${TMPDIR:-/tmp}/norvik-swiftbench.XXXXXX")"
CONTAINER="bench-$(date +%s)-$$"
sw() { "$SWIFT" -q -A "$ENDPOINT/auth/v1.0" -U test:tester -K testing "$@"; }
cleanup() { sw delete "$CONTAINER" >/dev/null 2>&1 || true; sw delete "${CONTAINER}_segments" >/dev/null 2>&1 || true; rm -rf "$WORK"; }
trap cleanup EXIT

cat > "$WORK/config.json" <<JSON
{"CloudType": "Openstack", "Endpoint": "$ENDPOINT/auth/v1.0", "UseSsl": false,
 "Username": "test:tester", "ApiKey": "testing", "ContainerName": "$CONTAINER"}
JSON
echo "[swift_compare] writing $SIZE_MIB MiB of random data" >&2
head -c $((SIZE_MIB * 1048576)) /dev/urandom > "$WORK/source.bin"
"$NORVIK_CLOUD" --config "$WORK/config.json" containers --create "$CONTAINER" >/dev/null

rows=()
failed=0
# measure NAME DIRECTION COMMAND...: one transfer under /usr/bin/time.
measure() {
  local name="$1" direction="$2"; shift 2
  sync
  if ! /usr/bin/time -f '%e %U %S %M' -o "$WORK/time" "$@" > "$WORK/out" 2>&1; then
    echo "[swift_compare] $name $direction failed:" >&2; tail -5 "$WORK/out" >&2; failed=1
    rows+=("$(printf '%-14s %-9s %s' "$name" "$direction" "FAILED")"); return
  fi
  read -r wall user sys rss < "$WORK/time"
  rows+=("$(awk -v n="$name" -v d="$direction" -v w="$wall" -v u="$user" -v s="$sys" -v r="$rss" -v m="$SIZE_MIB" \
    'BEGIN { printf "%-14s %-9s %8.2f %10.1f %12.2f %10.1f", n, d, w, m / w, (u + s) * 1024 / m, r / 1024 }')")
}

measure norvik-cloud upload "$NORVIK_CLOUD" --config "$WORK/config.json" put "$WORK/source.bin" /norvik/source.bin
measure norvik-cloud download "$NORVIK_CLOUD" --config "$WORK/config.json" get /norvik/source.bin "$WORK/norvik.bin"
cmp -s "$WORK/source.bin" "$WORK/norvik.bin" || { echo "[swift_compare] norvik-cloud download differs" >&2; failed=1; }
rm -f "$WORK/norvik.bin"
measure swift upload "$SWIFT" -q -A "$ENDPOINT/auth/v1.0" -U test:tester -K testing \
    upload --use-slo -S 8388608 --object-name swift/source.bin "$CONTAINER" "$WORK/source.bin"
measure swift download "$SWIFT" -q -A "$ENDPOINT/auth/v1.0" -U test:tester -K testing \
    download "$CONTAINER" swift/source.bin -o "$WORK/swift.bin"
cmp -s "$WORK/source.bin" "$WORK/swift.bin" || { echo "[swift_compare] swift download differs" >&2; failed=1; }

printf '%s MiB through Swift at %s (client process only; server on the same machine)\n' "$SIZE_MIB" "$ENDPOINT"
printf '%-14s %-9s %8s %10s %12s %10s\n' client direction wall_s MiB/s CPU_s/GiB peak_MiB
printf '%s\n' "${rows[@]}"
exit $failed
