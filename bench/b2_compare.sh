#!/bin/bash
# Upload and download of one large file through our B2 server (tests/servers/b2) with
# norvik-cloud (this library) and rclone's b2 backend. Prints a table of wall time, rate, CPU
# seconds per GiB and peak resident set for each transfer.
#
# Usage: bench/b2_compare.sh [SIZE_MIB]            (default 1024)
#
# Environment:
#   NORVIK_CLOUD    the norvik-cloud binary (default: build/tools/norvik-cloud in the repository)
#   BENCH_B2_PORT   port of the benchmark's own server (default 8241)
#   BENCH_B2_RUN    its state folder (default $TMPDIR/norvik-b2bench), removed at the end
#   TMPDIR          where the source file and the downloads are made
#   BENCH_TSV       a file that gets one tab-separated line per transfer (bench/tsv.sh), for
#                   bench/compare_all.sh
#
# Both clients run with their defaults (norvik-cloud: parts above 16 MiB, 8 MiB each, engine
# defaults; rclone: large files above 200 MiB, 96 MiB parts, 4 at once). Every download is
# compared with the source. Each client gets a fresh server. The server is Python on the same machine: its CPU is not counted
# but competes for the same cores, and it keeps every file in memory, so the rates say more
# about the clients' relative cost than about the service.
set -euo pipefail

HERE="$(cd "$(dirname "$0")" && pwd)"
REPO="$(cd "$HERE/.." && pwd)"
. "$HERE/tsv.sh"
SERVERS="$REPO/tests/servers"
KID=000a1b2c3d4e5f60000000001
KEY=K000xxxxxxxxxxxxxxxxxxxxxxxxxxx

log() { echo "[b2_compare] $*" >&2; }
die() { echo "[b2_compare] ERROR: $*" >&2; exit 1; }

SIZE_MIB="${1:-1024}"
[[ "$SIZE_MIB" =~ ^[1-9][0-9]*$ ]] || { echo "usage: $0 [SIZE_MIB]" >&2; exit 2; }
NORVIK_CLOUD="${NORVIK_CLOUD:-$REPO/build/tools/norvik-cloud}"
[ -x "$NORVIK_CLOUD" ] || die "norvik-cloud not found: build it or set NORVIK_CLOUD"
[ -x /usr/bin/time ] || { . "$SERVERS/lib.sh"; ct_apt_install time || die "cannot install time"; }
command -v rclone >/dev/null || "$SERVERS/install-clients.sh" >/dev/null || die "cannot install rclone"

export B2_PORT="${BENCH_B2_PORT:-8241}"
export CLOUDTEST_RUN="${BENCH_B2_RUN:-${TMPDIR:-/tmp}/norvik-b2bench}"
WORK=""
cleanup() {
  local rc=$?
  set +e
  [ -n "$WORK" ] && rm -rf "$WORK"
  "$SERVERS/start-b2.sh" stop >/dev/null && rm -rf "$CLOUDTEST_RUN"
  exit $rc
}
trap cleanup EXIT
WORK="$(mktemp -d "${TMPDIR:-/tmp}/norvik-b2bench.XXXXXX")"
SRC="$WORK/source.bin"

# A server of its own for each client: the server keeps files in memory, and the first large
# upload into a fresh process pays for its growth, which must not fall on one client alone.
fresh_server() {
  "$SERVERS/start-b2.sh" stop >/dev/null 2>&1
  ENDPOINT="$("$SERVERS/start-b2.sh" start)" || die "the B2 server could not be started"
  BUCKET="bench-$(date +%s)-$$"
  local id
  id="$(/usr/bin/python3 "$REPO/tests/integration/b2/b2sdk_client.py" "$ENDPOINT" $KID $KEY create "$BUCKET")" ||
    die "cannot create the bucket"
  cat > "$WORK/norvik.json" <<JSON
{"CloudType": "BackBlaze", "CloudId": "bench", "Endpoint": "$ENDPOINT", "UseSsl": false,
 "AccountId": "$KID", "ApplicationKey": "$KEY", "ContainerName": "$BUCKET|$id"}
JSON
  export RCLONE_CONFIG_NBENCH_TYPE=b2 RCLONE_CONFIG_NBENCH_ACCOUNT=$KID RCLONE_CONFIG_NBENCH_KEY=$KEY \
         RCLONE_CONFIG_NBENCH_ENDPOINT="$ENDPOINT"
}

log "writing $SIZE_MIB MiB of random data"
head -c $((SIZE_MIB * 1024 * 1024)) /dev/urandom > "$SRC"

ROWS=()
FAILED=0
# measure TOOL DIRECTION CHECK-FILE CMD...: one transfer under /usr/bin/time after sync, and a row
# of the table; a download's CHECK-FILE is then compared with the source.
measure() {
  local tool="$1" direction="$2" check="$3" status=ok wall=0 user=0 sys=0 rss=0; shift 3
  sync
  rm -f "$WORK/time"
  if ! /usr/bin/time -f '%e %U %S %M' -o "$WORK/time" "$@" > "$WORK/log" 2>&1; then
    tail -5 "$WORK/log" >&2; status=FAILED
  elif [ -n "$check" ] && ! cmp -s "$check" "$SRC"; then
    log "$check differs from the source"; status=MISMATCH
  fi
  [ -s "$WORK/time" ] && read -r wall user sys rss < <(tail -n 1 "$WORK/time")
  bench_tsv b2 "$tool" "$direction" "$wall" "$(awk -v u="$user" -v s="$sys" 'BEGIN { print u + s }')" \
    "$SIZE_MIB" "$rss" "$status"
  if [ "$status" != ok ]; then ROWS+=("$(printf '%-22s %s' "$tool $direction" "$status")"); FAILED=1; return; fi
  ROWS+=("$(awk -v l="$tool $direction" -v w="$wall" -v u="$user" -v s="$sys" -v r="$rss" -v m="$SIZE_MIB" 'BEGIN {
    printf "%-22s %8.1f %9.1f %12.2f %11.0f", l, w, (w > 0 ? m / w : 0), (u + s) / (m / 1024), r / 1024 }')")
}

fresh_server
measure norvik-cloud upload "" "$NORVIK_CLOUD" --config "$WORK/norvik.json" put "$SRC" /norvik.bin
measure norvik-cloud download "$WORK/norvik.out" \
    "$NORVIK_CLOUD" --config "$WORK/norvik.json" get /norvik.bin "$WORK/norvik.out"
rm -f "$WORK/norvik.out"
fresh_server
measure rclone upload "" rclone --config /dev/null copyto "$SRC" "nbench:$BUCKET/rclone.bin"
measure rclone download "$WORK/rclone.out" rclone --config /dev/null copyto "nbench:$BUCKET/rclone.bin" "$WORK/rclone.out"

echo
echo "$SIZE_MIB MiB through the B2 test server at $ENDPOINT"
printf '%-22s %8s %9s %12s %11s\n' transfer "wall s" "MiB/s" "CPU s/GiB" "peak MiB"
printf '%s\n' "${ROWS[@]}"
exit $FAILED
