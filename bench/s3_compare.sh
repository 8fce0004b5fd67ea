#!/bin/bash
# Upload and download of one large file through Swift's S3 interface with three clients:
# norvik-cloud (this library), rclone and the AWS CLI. Prints a table of wall time, rate,
# CPU seconds per GiB and peak resident set for each transfer.
#
# Usage: bench/s3_compare.sh [SIZE_MIB]            (default 1024)
#
# Environment:
#   NORVIK_CLOUD  the norvik-cloud binary (default: build/tools/norvik-cloud, then
#                 build-bench/tools/norvik-cloud, in the repository)
#   BENCH_TOOLS   clients to run, in order, out of "norvik rclone aws" (default: all three)
#   TMPDIR        where the temporary folder (source file, downloads, configs) is made
#   BENCH_TSV     a file that gets one tab-separated line per transfer (bench/tsv.sh), for
#                 bench/compare_all.sh
#   BENCH_SWIFT   "own" (default): a Swift instance of the benchmark's own, started by
#                 tests/servers/start-swift.sh with its own ports and state folder, so that the
#                 test suite's Swift (port 8080) is neither disturbed nor able to disturb a run;
#                 "shared": the test suite's instance (start-swift.sh with the caller's
#                 SWIFT_PORT, CLOUDTEST_RUN, ... or its defaults)
#   BENCH_SWIFT_PORT (default 18080), BENCH_SWIFT_BASE_PORT (default 16010, object; +1
#                 container, +2 account), BENCH_SWIFT_MEMCACHE_PORT (default 11411),
#                 BENCH_SWIFT_RUN (state folder, default $TMPDIR/norvik-s3bench-swift): the own instance
#
# Each client uploads the same random source file to its own key in one fresh bucket and
# downloads it again; every download is compared byte for byte with the source (cmp) and the
# size of every uploaded object is checked with a HEAD request. Times come from /usr/bin/time
# (wall, user + system CPU of the client process, peak resident set); the Swift server runs on
# the same machine, so its CPU use is not counted but competes for the same cores. Every step
# starts after sync(), so that no step pays for the dirty pages of the one before. The clients
# run with their default settings:
#   norvik-cloud  multipart above 8 MiB, 8 MiB parts, engine defaults (threads, memory budget)
#   rclone        copyto; multipart above 200 MiB, 5 MiB parts, 4 parts at once, MD5 of the
#                 source read first; downloads of large objects in 4 ranged streams
#   aws s3 cp     multipart above 8 MiB, 8 MiB parts, 10 requests at once
#
# Swift is started if needed and stopped again at the end only if it was not running before
# (an own instance's state folder is then removed too, if this run created it). The bucket and
# the temporary folder are removed at the end. Exit status: 0 when every
# transfer succeeded and verified, 1 otherwise (the table is still printed), 2 on bad usage.
set -euo pipefail

HERE="$(cd "$(dirname "$0")" && pwd)"
REPO="$(cd "$HERE/.." && pwd)"
. "$HERE/tsv.sh"
SERVERS="$REPO/tests/servers"
AWS=/usr/bin/aws
ACCESS_KEY='test:tester'
SECRET_KEY='testing'
REGION='us-east-1'

log() { echo "[s3_compare] $*" >&2; }
die() { echo "[s3_compare] ERROR: $*" >&2; exit 1; }

SIZE_MIB="${1:-1024}"
[ $# -le 1 ] || { echo "usage: $0 [SIZE_MIB]" >&2; exit 2; }
[[ "$SIZE_MIB" =~ ^[1-9][0-9]*$ ]] || { echo "usage: $0 [SIZE_MIB]  (a positive whole number of MiB)" >&2; exit 2; }
TOOLS="${BENCH_TOOLS:-norvik rclone aws}"
for t in $TOOLS; do
  case "$t" in norvik|rclone|aws) ;; *) echo "BENCH_TOOLS: unknown client \"$t\" (norvik, rclone, aws)" >&2; exit 2 ;; esac
done
BENCH_SWIFT="${BENCH_SWIFT:-own}"
case "$BENCH_SWIFT" in
  own)
    export SWIFT_PORT="${BENCH_SWIFT_PORT:-18080}"
    export SWIFT_BASE_PORT="${BENCH_SWIFT_BASE_PORT:-16010}"
    export SWIFT_MEMCACHE_PORT="${BENCH_SWIFT_MEMCACHE_PORT:-11411}"
    export CLOUDTEST_RUN="${BENCH_SWIFT_RUN:-${TMPDIR:-/tmp}/norvik-s3bench-swift}" ;;
  shared) ;;
  *) echo "BENCH_SWIFT must be \"own\" or \"shared\"" >&2; exit 2 ;;
esac

# --- what we need -----------------------------------------------------------------------
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
  [ -x /usr/bin/time ] || die "/usr/bin/time missing after installing time"
fi
"$SERVERS/install-clients.sh" || die "cannot install the S3 clients (tests/servers/install-clients.sh)"
command -v rclone >/dev/null || die "rclone not found"
RCLONE="$(command -v rclone)"

# --- state to undo at exit --------------------------------------------------------------
SWIFT_WAS_RUNNING=0
SWIFT_STARTED=0
SWIFT_RUN_CREATED=0
WORK=""
BUCKET=""

cleanup() {
  local rc=$?
  set +e
  if [ -n "$BUCKET" ]; then
    log "removing bucket $BUCKET"
    aws_cli s3 rb --force "s3://$BUCKET" >/dev/null 2>&1 || log "WARNING: could not remove bucket $BUCKET"
  fi
  [ -n "$WORK" ] && rm -rf "$WORK"
  if [ "$SWIFT_STARTED" = 1 ] && [ "$SWIFT_WAS_RUNNING" = 0 ]; then
    log "stopping Swift (it was not running before)"
    if "$SERVERS/start-swift.sh" stop >/dev/null; then
      [ "$SWIFT_RUN_CREATED" = 1 ] && rm -rf "$CLOUDTEST_RUN"
    else
      log "WARNING: start-swift.sh stop failed"
    fi
  fi
  exit $rc
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# --- server -----------------------------------------------------------------------------
if [ "$BENCH_SWIFT" = own ]; then
  [ -e "$CLOUDTEST_RUN" ] || SWIFT_RUN_CREATED=1
  log "using a Swift instance of its own: port $SWIFT_PORT, state in $CLOUDTEST_RUN"
else
  log "using the test suite's Swift instance"
fi
if "$SERVERS/start-swift.sh" status >/dev/null 2>&1; then SWIFT_WAS_RUNNING=1; fi
log "Swift was $([ $SWIFT_WAS_RUNNING = 1 ] && echo running || echo not running) before this run"
SWIFT_STARTED=1
ENDPOINT="$("$SERVERS/start-swift.sh" start)" || die "Swift could not be started (see messages above)"
[ -n "$ENDPOINT" ] || die "start-swift.sh printed no endpoint"
log "Swift S3 endpoint: $ENDPOINT"

WORK="$(mktemp -d "${TMPDIR:-/tmp}/norvik-s3bench.XXXXXX")"
SRC="$WORK/source.bin"
OUT="$WORK/download.bin"

# AWS CLI: credentials and path-style addressing from files of our own, nothing from ~/.aws.
cat > "$WORK/aws.config" <<EOF
[default]
region = $REGION
s3 =
    addressing_style = path
EOF
cat > "$WORK/aws.credentials" <<EOF
[default]
aws_access_key_id = $ACCESS_KEY
aws_secret_access_key = $SECRET_KEY
EOF
aws_env=(env -u AWS_PROFILE -u AWS_ACCESS_KEY_ID -u AWS_SECRET_ACCESS_KEY -u AWS_SESSION_TOKEN
         -u AWS_DEFAULT_PROFILE AWS_CONFIG_FILE="$WORK/aws.config"
         AWS_SHARED_CREDENTIALS_FILE="$WORK/aws.credentials" AWS_DEFAULT_REGION="$REGION"
         AWS_PAGER= AWS_EC2_METADATA_DISABLED=true)
aws_cli() { "${aws_env[@]}" "$AWS" --endpoint-url "$ENDPOINT" "$@"; }

# rclone: one remote "nbench" defined by environment variables; no user configuration file.
rclone_env=(env -u AWS_CA_BUNDLE RCLONE_CONFIG="$WORK/rclone.conf"
            RCLONE_CONFIG_NBENCH_TYPE=s3 RCLONE_CONFIG_NBENCH_PROVIDER=Other
            RCLONE_CONFIG_NBENCH_ENDPOINT="$ENDPOINT" RCLONE_CONFIG_NBENCH_REGION="$REGION"
            RCLONE_CONFIG_NBENCH_ACCESS_KEY_ID="$ACCESS_KEY" RCLONE_CONFIG_NBENCH_SECRET_ACCESS_KEY="$SECRET_KEY"
            RCLONE_CONFIG_NBENCH_FORCE_PATH_STYLE=true RCLONE_CONFIG_NBENCH_NO_CHECK_BUCKET=true)
: > "$WORK/rclone.conf"

BUCKET="norvik-bench-$(date +%s)-$$"
aws_cli s3 mb "s3://$BUCKET" >/dev/null 2>"$WORK/mb.err" || { cat "$WORK/mb.err" >&2; BUCKET=""; die "cannot create bucket"; }
log "bucket: $BUCKET"

# norvik-cloud: a configuration file of the library's keys.
cat > "$WORK/norvik.json" <<EOF
{
  "CloudType": "S3Compatible",
  "CloudId": "bench",
  "Endpoint": "$ENDPOINT",
  "UseSsl": false,
  "AccessKey": "$ACCESS_KEY",
  "SecretKey": "$SECRET_KEY",
  "Region": "$REGION",
  "ContainerName": "$BUCKET",
  "Signature": "V4"
}
EOF

# --- source file ------------------------------------------------------------------------
SIZE_BYTES=$((SIZE_MIB * 1024 * 1024))
log "writing $SIZE_MIB MiB of random data to $SRC"
head -c "$SIZE_BYTES" /dev/urandom > "$SRC" || die "cannot write $SRC"
[ "$(stat -c %s "$SRC")" = "$SIZE_BYTES" ] || die "$SRC has the wrong size"

# --- measuring --------------------------------------------------------------------------
# measure NAME CMD...: runs CMD under /usr/bin/time after sync; sets M_WALL M_USER M_SYS M_RSS_KB.
# Returns CMD's exit status; its output goes to $WORK/NAME.log.
measure() {
  local name="$1"; shift
  sync
  local rc=0
  /usr/bin/time -f '%e %U %S %M' -o "$WORK/$name.time" "$@" > "$WORK/$name.log" 2>&1 || rc=$?
  M_WALL=0 M_USER=0 M_SYS=0 M_RSS_KB=0
  if [ -s "$WORK/$name.time" ]; then
    read -r M_WALL M_USER M_SYS M_RSS_KB < <(tail -n 1 "$WORK/$name.time") || true
  fi
  return $rc
}

object_size() {  # object_size KEY: prints the size of the object, from a HEAD request
  aws_cli s3api head-object --bucket "$BUCKET" --key "$1" --query ContentLength --output text
}

ROWS=()          # tool|direction|wall|user+sys|rss_kb|status
FAILED=0
declare -A OUR_WALL=()

record() {  # record TOOL DIRECTION STATUS
  local cpu
  cpu=$(awk -v u="$M_USER" -v s="$M_SYS" 'BEGIN { printf "%.2f", u + s }')
  ROWS+=("$1|$2|$M_WALL|$cpu|$M_RSS_KB|$3")
  bench_tsv s3 "${1/#norvik/norvik-cloud}" "$2" "$M_WALL" "$cpu" "$SIZE_MIB" "$M_RSS_KB" "$3"
  [ "$1" = norvik ] && [ "$3" = ok ] && OUR_WALL[$2]="$M_WALL"
  return 0
}

fail_step() {  # fail_step TOOL DIRECTION MESSAGE
  log "FAILED: $1 $2: $3"
  [ -s "$WORK/$1-$2.log" ] && { echo "--- last lines of the $1 $2 output:" >&2; tail -n 20 "$WORK/$1-$2.log" >&2; }
  FAILED=1
}

run_tool() {
  local tool="$1" key="bench-$1.bin" up down
  case "$tool" in
    norvik)
      up=("$NORVIK_CLOUD" --config "$WORK/norvik.json" put "$SRC" "/$key")
      down=("$NORVIK_CLOUD" --config "$WORK/norvik.json" get "/$key" "$OUT") ;;
    rclone)
      up=("${rclone_env[@]}" "$RCLONE" copyto "$SRC" "nbench:$BUCKET/$key")
      down=("${rclone_env[@]}" "$RCLONE" copyto "nbench:$BUCKET/$key" "$OUT") ;;
    aws)
      up=("${aws_env[@]}" "$AWS" --endpoint-url "$ENDPOINT" s3 cp --only-show-errors --no-progress "$SRC" "s3://$BUCKET/$key")
      down=("${aws_env[@]}" "$AWS" --endpoint-url "$ENDPOINT" s3 cp --only-show-errors --no-progress "s3://$BUCKET/$key" "$OUT") ;;
  esac

  log "$tool: upload"
  if ! measure "$tool-upload" "${up[@]}"; then
    record "$tool" upload failed; fail_step "$tool" upload "the client exited with an error"; return 0
  fi
  local got
  got=$(object_size "$key" 2>/dev/null) || got="(no object)"
  if [ "$got" != "$SIZE_BYTES" ]; then
    record "$tool" upload "BAD-SIZE"; fail_step "$tool" upload "uploaded object has size $got, expected $SIZE_BYTES"; return 0
  fi
  record "$tool" upload ok

  rm -f "$OUT"
  log "$tool: download"
  if ! measure "$tool-download" "${down[@]}"; then
    record "$tool" download failed; fail_step "$tool" download "the client exited with an error"
  elif [ ! -f "$OUT" ] || ! cmp -s "$SRC" "$OUT"; then
    record "$tool" download MISMATCH
    fail_step "$tool" download "the downloaded file differs from the source ($(stat -c %s "$OUT" 2>/dev/null || echo no file) bytes)"
  else
    record "$tool" download ok
    log "$tool: download verified byte for byte"
  fi
  rm -f "$OUT"
  # free the server's disk before the next client
  aws_cli s3 rm --only-show-errors "s3://$BUCKET/$key" >/dev/null 2>&1 || log "WARNING: could not delete $key"
}

for t in $TOOLS; do run_tool "$t"; done

# --- table ------------------------------------------------------------------------------
GIB=$(awk -v b="$SIZE_BYTES" 'BEGIN { printf "%.6f", b / 1073741824 }')
echo
echo "S3 transfers of $SIZE_MIB MiB through Swift s3api at $ENDPOINT ($(nproc) cores, $(date -u +%Y-%m-%dT%H:%MZ))"
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

if [ "$FAILED" = 1 ]; then
  log "at least one transfer failed or did not verify (see above)"
  exit 1
fi
log "all transfers verified"
