#!/bin/bash
# Upload and download of one large file through our Google Cloud Storage server
# (tests/servers/gcs) with norvik-cloud (this library, HMAC key) and the service's own client,
# gsutil (HMAC key, XML interface). Prints a table of wall time, rate, CPU seconds per GiB and
# peak resident set for each transfer.
#
# Usage: bench/gcs_compare.sh [SIZE_MIB]            (default 1024)
#
# Environment:
#   NORVIK_CLOUD        the norvik-cloud binary (default: build/tools/norvik-cloud, then
#                       build-bench/tools/norvik-cloud, in the repository)
#   BENCH_TOOLS         clients to run, in order, out of "norvik gsutil" (default: both)
#   TMPDIR              where the temporary folder (source file, downloads, configs) is made
#   BENCH_GCS_PORT      proxy port of the benchmark's own server (default 19023), and
#   BENCH_GCS_TLS_PORT  its TLS port (default 19024), so that the test suite's instance is
#                       neither disturbed nor able to disturb a run
#   BENCH_GCS_RUN       its state folder (default $TMPDIR/norvik-gcsbench-gcs)
#   BENCH_TSV           a file that gets one tab-separated line per transfer (bench/tsv.sh), for
#                       bench/compare_all.sh
#
# Both clients reach the service's real https names through the server's proxy and trust its
# test CA (norvik-cloud --proxy and --ca-file, gsutil's boto configuration). Each uploads the
# same random source file to its own object in one fresh bucket and downloads it again; every
# download is compared byte for byte with the source (cmp) and the size of every uploaded
# object is read back. Times come from /usr/bin/time (wall, user + system CPU of the client
# process and its children, peak resident set); the server is Python on the same machine,
# ends TLS there and keeps every object in memory, so its CPU is not counted but competes for
# the same cores. Every step starts after sync(). The clients:
#   norvik-cloud  its defaults (engine threads, memory budget, the automatic upload)
#   gsutil        cp with its defaults, except that an upload goes in one request: above
#                 8 MiB gsutil would start a resumable upload, which the server does not
#                 offer (resumable_threshold is raised); downloads in one request (the server
#                 gives no CRC32C, without which gsutil does not slice a download)
#
# The server is started for the run and stopped at the end, with its state folder. Exit
# status: 0 when every transfer succeeded and verified, 1 otherwise (the table is still
# printed), 2 on bad usage.
set -euo pipefail

HERE="$(cd "$(dirname "$0")" && pwd)"
REPO="$(cd "$HERE/.." && pwd)"
SERVERS="$REPO/tests/servers"
. "$HERE/tsv.sh"

log() { echo "[gcs_compare] $*" >&2; }
die() { echo "[gcs_compare] ERROR: $*" >&2; exit 1; }

SIZE_MIB="${1:-1024}"
[ $# -le 1 ] || { echo "usage: $0 [SIZE_MIB]" >&2; exit 2; }
[[ "$SIZE_MIB" =~ ^[1-9][0-9]*$ ]] || { echo "usage: $0 [SIZE_MIB]  (a positive whole number of MiB)" >&2; exit 2; }
TOOLS="${BENCH_TOOLS:-norvik gsutil}"
for t in $TOOLS; do
  case "$t" in norvik|gsutil) ;; *) echo "BENCH_TOOLS: unknown client \"$t\" (norvik, gsutil)" >&2; exit 2 ;; esac
done
export GCS_PORT="${BENCH_GCS_PORT:-19023}" GCS_TLS_PORT="${BENCH_GCS_TLS_PORT:-19024}"
export CLOUDTEST_RUN="${BENCH_GCS_RUN:-${TMPDIR:-/tmp}/norvik-gcsbench-gcs}"

if [ -z "${NORVIK_CLOUD:-}" ]; then
  for c in "$REPO/build/tools/norvik-cloud" "$REPO/build-bench/tools/norvik-cloud"; do
    [ -x "$c" ] && { NORVIK_CLOUD="$c"; break; }
  done
fi
# norvik-cloud reads the sizes back and gsutil makes the bucket (the client's "containers
# --create" does not give the storage class a Google bucket needs), so both are needed.
[ -n "${NORVIK_CLOUD:-}" ] && [ -x "$NORVIK_CLOUD" ] ||
  die "norvik-cloud not found: build it (cmake --build build --target norvik-cloud) or set NORVIK_CLOUD"
"$NORVIK_CLOUD" --help | grep -q -- --ca-file || die "$NORVIK_CLOUD has no --proxy and --ca-file: build it again"
GSUTIL="$(command -v gsutil)" || die "gsutil is missing (Google Cloud CLI)"
if [ ! -x /usr/bin/time ]; then
  log "installing Debian package time (for /usr/bin/time)"
  . "$SERVERS/lib.sh"
  ct_apt_install time || die "cannot install the package time"
fi

WORK=""
STARTED=0
cleanup() {
  local rc=$?
  set +e
  [ -n "$WORK" ] && rm -rf "$WORK"
  if [ "$STARTED" = 1 ]; then
    "$SERVERS/start-gcs.sh" stop >/dev/null || log "WARNING: start-gcs.sh stop failed"
    rm -rf "$CLOUDTEST_RUN"
  fi
  exit $rc
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

"$SERVERS/start-gcs.sh" status >/dev/null 2>&1 && die "a gcs server already runs with state in $CLOUDTEST_RUN"
STARTED=1
ENDPOINT="$("$SERVERS/start-gcs.sh" start)" || die "the gcs server could not be started (see messages above)"
log "gcs server: $ENDPOINT, state in $CLOUDTEST_RUN"

WORK="$(mktemp -d "${TMPDIR:-/tmp}/norvik-gcsbench.XXXXXX")"
SRC="$WORK/source.bin"
OUT="$WORK/download.bin"
curl -sf --noproxy '*' -o "$WORK/info.json" "$ENDPOINT/_admin/info" || die "the server's /_admin/info did not answer"
info() { python3 -c 'import json, sys; print(json.load(open(sys.argv[1]))[sys.argv[2]])' "$WORK/info.json" "$1"; }
CA="$(info ca)"
PROXY="$(info proxy)"
PROJECT="$(info project)"
HMAC_ID="$(info hmac_id)"
HMAC_SECRET="$(info hmac_secret)"
BUCKET="norvik-bench-$(date +%s)"

cat > "$WORK/norvik.json" <<EOF
{"CloudType": "GoogleStorage", "CloudId": "bench", "AuthType": 0,
 "AccessKey": "$HMAC_ID", "SecretKey": "$HMAC_SECRET", "ContainerName": "$BUCKET"}
EOF
norvik=("$NORVIK_CLOUD" --config "$WORK/norvik.json" --proxy "$PROXY" --ca-file "$CA")

# gsutil: a boto configuration of our own and nothing from the user's gcloud or boto files.
cat > "$WORK/boto.cfg" <<EOF
[Boto]
proxy = 127.0.0.1
proxy_port = ${PROXY##*:}
ca_certificates_file = $CA
[GSUtil]
prefer_api = xml
default_project_id = $PROJECT
software_update_check_period = 0
resumable_threshold = 1099511627776
[Credentials]
gs_access_key_id = $HMAC_ID
gs_secret_access_key = $HMAC_SECRET
EOF
mkdir "$WORK/gsutil-tmp"
gsutil_env=(env BOTO_CONFIG="$WORK/boto.cfg" BOTO_PATH= CLOUDSDK_CONFIG="$WORK/gcloud"
            CLOUDSDK_CORE_PASS_CREDENTIALS_TO_GSUTIL=false CLOUDSDK_CORE_DISABLE_PROMPTS=1
            CLOUDSDK_CORE_CUSTOM_CA_CERTS_FILE="$CA" HTTPLIB2_CA_CERTS="$CA" TMPDIR="$WORK/gsutil-tmp")
"${gsutil_env[@]}" "$GSUTIL" -q mb "gs://$BUCKET" 2>"$WORK/mb.err" || { cat "$WORK/mb.err" >&2; die "cannot create bucket $BUCKET"; }

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
  bench_tsv gcs "${1/#norvik/norvik-cloud}" "$2" "$M_WALL" "$cpu" "$SIZE_MIB" "$M_RSS_KB" "$3"
  [ "$1" = norvik ] && [ "$3" = ok ] && OUR_WALL[$2]="$M_WALL"
  return 0
}
fail_step() {
  log "FAILED: $1 $2: $3"
  [ -s "$WORK/$1-$2.log" ] && { echo "--- last lines of the $1 $2 output:" >&2; tail -n 20 "$WORK/$1-$2.log" >&2; }
  FAILED=1
}

run_tool() {
  local tool="$1" object="bench-$1.bin" up down
  case "$tool" in
    norvik)
      up=("${norvik[@]}" put "$SRC" "/$object")
      down=("${norvik[@]}" get "/$object" "$OUT") ;;
    gsutil)
      up=("${gsutil_env[@]}" "$GSUTIL" -q cp "$SRC" "gs://$BUCKET/$object")
      down=("${gsutil_env[@]}" "$GSUTIL" -q cp "gs://$BUCKET/$object" "$OUT") ;;
  esac
  log "$tool: upload"
  if ! measure "$tool-upload" "${up[@]}"; then
    record "$tool" upload failed; fail_step "$tool" upload "the client exited with an error"; return 0
  fi
  local got
  got=$("${norvik[@]}" ls "$object" 2>/dev/null | awk -v o="$object" '$NF == o { print $2 }') || got=""
  if [ "$got" != "$SIZE_BYTES" ]; then
    record "$tool" upload BAD-SIZE; fail_step "$tool" upload "uploaded object has size ${got:-(none)}, expected $SIZE_BYTES"; return 0
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
  # The server keeps objects in memory: free it before the next client.
  "${norvik[@]}" rm "/$object" >/dev/null 2>&1 || log "WARNING: could not delete $object"
}

for t in $TOOLS; do run_tool "$t"; done

GIB=$(awk -v b="$SIZE_BYTES" 'BEGIN { printf "%.6f", b / 1073741824 }')
echo
echo "Google Cloud Storage transfers of $SIZE_MIB MiB through our server at $ENDPOINT ($(nproc) cores, $(date -u +%Y-%m-%dT%H:%MZ))"
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
