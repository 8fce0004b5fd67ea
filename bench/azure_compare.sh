#!/bin/bash
# Upload and download of one large file through azurite with two clients: norvik-cloud (this
# library) and the service's own command-line client, Debian's azure-cli. Prints a table of
# wall time, rate, CPU seconds per GiB and peak resident set for each transfer.
#
# Usage: bench/azure_compare.sh [SIZE_MIB]            (default 1024)
#
# Environment:
#   NORVIK_CLOUD        the norvik-cloud binary (default: build/tools/norvik-cloud, then
#                       build-bench/tools/norvik-cloud, in the repository)
#   BENCH_TOOLS         clients to run, in order, out of "norvik az" (default: both)
#   TMPDIR              where the temporary folder (source file, downloads, configs) is made
#   BENCH_TSV           a file that gets one tab-separated line per transfer (bench/tsv.sh), for
#                       bench/compare_all.sh
#   BENCH_AZURITE_PORT  port of the benchmark's own azurite (default 10010), so that the test
#                       suite's instance is neither disturbed nor able to disturb a run
#   BENCH_AZURITE_RUN   its state folder (default $TMPDIR/norvik-azbench-azurite)
#
# Each client uploads the same random source file to its own blob in one fresh container and
# downloads it again; every download is compared byte for byte with the source (cmp) and the
# size of every uploaded blob is read back with az. Times come from /usr/bin/time (wall, user +
# system CPU of the client process, peak resident set); azurite runs on the same machine, so
# its CPU use is not counted but competes for the same cores. Every step starts after sync().
# The clients run with their default settings:
#   norvik-cloud  blocks above 16 MiB, 8 MiB blocks, engine defaults (threads, memory budget)
#   az            one request up to 64 MiB, above that 4 MiB blocks over 2 connections;
#                 downloads above 32 MiB in 4 MiB ranges over 2 connections
#
# azurite is started for the run and stopped at the end, with its state folder. Exit status: 0
# when every transfer succeeded and verified, 1 otherwise (the table is still printed), 2 on
# bad usage.
set -euo pipefail

HERE="$(cd "$(dirname "$0")" && pwd)"
REPO="$(cd "$HERE/.." && pwd)"
. "$HERE/tsv.sh"
SERVERS="$REPO/tests/servers"
AZ=/usr/bin/az
ACCOUNT=devstoreaccount1
KEY='Eby8vdM02xNOcqFlqUwJPLlmEtlCDXJ1OUzFT50uSRZ6IFsuFq2UVErCz4I6tq/K1SZFPTOtr/KBHBeksoGMGw=='

log() { echo "[azure_compare] $*" >&2; }
die() { echo "[azure_compare] ERROR: $*" >&2; exit 1; }

SIZE_MIB="${1:-1024}"
[ $# -le 1 ] || { echo "usage: $0 [SIZE_MIB]" >&2; exit 2; }
[[ "$SIZE_MIB" =~ ^[1-9][0-9]*$ ]] || { echo "usage: $0 [SIZE_MIB]  (a positive whole number of MiB)" >&2; exit 2; }
TOOLS="${BENCH_TOOLS:-norvik az}"
for t in $TOOLS; do
  case "$t" in norvik|az) ;; *) echo "BENCH_TOOLS: unknown client \"$t\" (norvik, az)" >&2; exit 2 ;; esac
done
export AZURITE_PORT="${BENCH_AZURITE_PORT:-10010}"
export CLOUDTEST_RUN="${BENCH_AZURITE_RUN:-${TMPDIR:-/tmp}/norvik-azbench-azurite}"

wants_tool() { case " $TOOLS " in *" $1 "*) return 0 ;; *) return 1 ;; esac; }
if wants_tool norvik; then
  if [ -z "${NORVIK_CLOUD:-}" ]; then
    for c in "$REPO/build/tools/norvik-cloud" "$REPO/build-bench/tools/norvik-cloud"; do
      [ -x "$c" ] && { NORVIK_CLOUD="$c"; break; }
    done
  fi
  [ -n "${NORVIK_CLOUD:-}" ] && [ -x "$NORVIK_CLOUD" ] ||
    die "norvik-cloud not found: build it (cmake --build build --target norvik-cloud) or set NORVIK_CLOUD"
fi
if [ ! -x /usr/bin/time ]; then
  log "installing Debian package time (for /usr/bin/time)"
  . "$SERVERS/lib.sh"
  ct_apt_install time || die "cannot install the package time"
fi
"$SERVERS/install-clients.sh" || die "cannot install the clients (tests/servers/install-clients.sh)"

WORK=""
STARTED=0
cleanup() {
  local rc=$?
  set +e
  [ -n "$WORK" ] && rm -rf "$WORK"
  if [ "$STARTED" = 1 ]; then
    "$SERVERS/start-azurite.sh" stop >/dev/null || log "WARNING: start-azurite.sh stop failed"
    rm -rf "$CLOUDTEST_RUN"
  fi
  exit $rc
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

"$SERVERS/start-azurite.sh" status >/dev/null 2>&1 && die "an azurite already runs with state in $CLOUDTEST_RUN"
STARTED=1
ENDPOINT="$("$SERVERS/start-azurite.sh" start)" || die "azurite could not be started (see messages above)"
log "azurite: $ENDPOINT, state in $CLOUDTEST_RUN"

WORK="$(mktemp -d "${TMPDIR:-/tmp}/norvik-azbench.XXXXXX")"
SRC="$WORK/source.bin"
OUT="$WORK/download.bin"
CONTAINER="norvik-bench-$(date +%s)"
CONNECTION="DefaultEndpointsProtocol=http;AccountName=$ACCOUNT;AccountKey=$KEY;BlobEndpoint=$ENDPOINT;"
az_env=(env AZURE_CONFIG_DIR="$WORK/az" AZURE_CORE_COLLECT_TELEMETRY=no AZURE_CORE_ONLY_SHOW_ERRORS=yes)
az_cli() { "${az_env[@]}" "$AZ" storage "$@" --connection-string "$CONNECTION" --only-show-errors; }
az_cli container create -n "$CONTAINER" -o none || die "cannot create container $CONTAINER"

# norvik-cloud: the library's keys; the account goes in front of "blob.localhost", which
# libcurl resolves to the loopback.
cat > "$WORK/norvik.json" <<EOF
{
  "CloudType": "AzureBlob",
  "Username": "$ACCOUNT",
  "Password": "$KEY",
  "Endpoint": "http://blob.localhost:$AZURITE_PORT",
  "UseSsl": false,
  "ContainerName": "$CONTAINER"
}
EOF

SIZE_BYTES=$((SIZE_MIB * 1024 * 1024))
log "writing $SIZE_MIB MiB of random data to $SRC"
head -c "$SIZE_BYTES" /dev/urandom > "$SRC" || die "cannot write $SRC"

measure() {  # measure NAME CMD...: sets M_WALL M_USER M_SYS M_RSS_KB; output to $WORK/NAME.log
  local name="$1"; shift
  sync
  local rc=0
  /usr/bin/time -f '%e %U %S %M' -o "$WORK/$name.time" "$@" > "$WORK/$name.log" 2>&1 || rc=$?
  M_WALL=0 M_USER=0 M_SYS=0 M_RSS_KB=0
  [ -s "$WORK/$name.time" ] && { read -r M_WALL M_USER M_SYS M_RSS_KB < <(tail -n 1 "$WORK/$name.time") || true; }
  return $rc
}

ROWS=()
FAILED=0
declare -A OUR_WALL=()
record() {  # record TOOL DIRECTION STATUS
  local cpu
  cpu=$(awk -v u="$M_USER" -v s="$M_SYS" 'BEGIN { printf "%.2f", u + s }')
  ROWS+=("$1|$2|$M_WALL|$cpu|$M_RSS_KB|$3")
  bench_tsv azure "${1/#norvik/norvik-cloud}" "$2" "$M_WALL" "$cpu" "$SIZE_MIB" "$M_RSS_KB" "$3"
  [ "$1" = norvik ] && [ "$3" = ok ] && OUR_WALL[$2]="$M_WALL"
  return 0
}
fail_step() {
  log "FAILED: $1 $2: $3"
  [ -s "$WORK/$1-$2.log" ] && { echo "--- last lines of the $1 $2 output:" >&2; tail -n 20 "$WORK/$1-$2.log" >&2; }
  FAILED=1
}

run_tool() {
  local tool="$1" blob="bench-$1.bin" up down
  case "$tool" in
    norvik)
      up=("$NORVIK_CLOUD" --config "$WORK/norvik.json" put "$SRC" "/$blob")
      down=("$NORVIK_CLOUD" --config "$WORK/norvik.json" get "/$blob" "$OUT") ;;
    az)
      up=("${az_env[@]}" "$AZ" storage blob upload -c "$CONTAINER" -n "$blob" -f "$SRC" --no-progress -o none
          --connection-string "$CONNECTION")
      down=("${az_env[@]}" "$AZ" storage blob download -c "$CONTAINER" -n "$blob" -f "$OUT" --no-progress -o none
            --connection-string "$CONNECTION") ;;
  esac
  log "$tool: upload"
  if ! measure "$tool-upload" "${up[@]}"; then
    record "$tool" upload failed; fail_step "$tool" upload "the client exited with an error"; return 0
  fi
  local got
  got=$(az_cli blob show -c "$CONTAINER" -n "$blob" --query properties.contentLength -o tsv 2>/dev/null) || got="(no blob)"
  if [ "$got" != "$SIZE_BYTES" ]; then
    record "$tool" upload BAD-SIZE; fail_step "$tool" upload "uploaded blob has size $got, expected $SIZE_BYTES"; return 0
  fi
  record "$tool" upload ok
  rm -f "$OUT"
  log "$tool: download"
  if ! measure "$tool-download" "${down[@]}"; then
    record "$tool" download failed; fail_step "$tool" download "the client exited with an error"
  elif [ ! -f "$OUT" ] || ! cmp -s "$SRC" "$OUT"; then
    record "$tool" download MISMATCH; fail_step "$tool" download "the downloaded file differs from the source"
  else
    record "$tool" download ok
  fi
  rm -f "$OUT"
  az_cli blob delete -c "$CONTAINER" -n "$blob" -o none 2>/dev/null || log "WARNING: could not delete $blob"
}

for t in $TOOLS; do run_tool "$t"; done

GIB=$(awk -v b="$SIZE_BYTES" 'BEGIN { printf "%.6f", b / 1073741824 }')
echo
echo "Azure Blob transfers of $SIZE_MIB MiB through azurite at $ENDPOINT ($(nproc) cores, $(date -u +%Y-%m-%dT%H:%MZ))"
printf '%-8s %-9s %8s %9s %11s %13s %12s  %s\n' tool direction "wall s" "MiB/s" "CPU s/GiB" "peak RSS MiB" "wall / ours" status
for row in "${ROWS[@]}"; do
  IFS='|' read -r tool dir wall cpu rss status <<<"$row"
  ours="${OUR_WALL[$dir]:-}"
  awk -v t="$tool" -v d="$dir" -v w="$wall" -v c="$cpu" -v r="$rss" -v mib="$SIZE_MIB" -v g="$GIB" \
      -v o="$ours" -v s="$status" 'BEGIN {
    rate = (w > 0) ? sprintf("%.1f", mib / w) : "-"
    ratio = (o != "" && o > 0) ? sprintf("%.2f", w / o) : "n/a"
    if (s != "ok") { rate = "-"; ratio = "-" }
    printf "%-8s %-9s %8.2f %9s %11.2f %13.1f %12s  %s\n", t, d, w, rate, c / g, r / 1024, ratio, s
  }'
done
[ "$FAILED" = 1 ] && { log "at least one transfer failed or did not verify (see above)"; exit 1; }
log "all transfers verified"
