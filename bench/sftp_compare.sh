#!/bin/bash
# Upload and download of one large file through OpenSSH's sshd with four clients: norvik-cloud
# (this library), rclone's sftp backend, OpenSSH's sftp, and cp of the same file on the local
# disk as the floor. Prints a table of wall time, rate, CPU seconds per GiB and peak resident set.
#
# Usage: bench/sftp_compare.sh [SIZE_MIB]          (default 1024)
#
# Environment:
#   NORVIK_CLOUD   the norvik-cloud binary (default: build/tools/norvik-cloud in the repository)
#   BENCH_SFTP_PORT  port of the benchmark's own sshd (tests/servers/start-sftp.sh; default
#                  12222), BENCH_SFTP_RUN its state folder (default $TMPDIR/norvik-sftpbench-sshd),
#                  BENCH_SFTP_USER the account it signs in (default norvikbench, made if missing):
#                  the test suite's sshd and its user's home are left alone. Stopped and removed
#                  at the end.
#   TMPDIR         where the source file and the downloads are made
#   BENCH_TSV      a file that gets one tab-separated line per transfer (bench/tsv.sh), for
#                  bench/compare_all.sh
#
# Each client uploads the same random file to a name of its own below the account's home and
# downloads it again; every download is compared with the source (cmp). Times come from
# /usr/bin/time (wall, user + system CPU of the client and its children, such as ssh under
# sftp; peak resident set of the largest process). sshd runs on the same machine: its CPU is
# not counted but competes for the same cores. Every step starts after sync(). Password
# sign-in for norvik-cloud, the ed25519 key for rclone and sftp.
# Needs root (the sshd signs in a real account).
# Exit status: 0 when every transfer verified, 1 otherwise (the table is still printed).
set -euo pipefail

HERE="$(cd "$(dirname "$0")" && pwd)"
REPO="$(cd "$HERE/.." && pwd)"
. "$HERE/tsv.sh"
SIZE_MIB="${1:-1024}"
[[ "$SIZE_MIB" =~ ^[1-9][0-9]*$ ]] || { echo "usage: $0 [SIZE_MIB]" >&2; exit 2; }
NORVIK_CLOUD="${NORVIK_CLOUD:-$REPO/build/tools/norvik-cloud}"
[ -x "$NORVIK_CLOUD" ] || { echo "norvik-cloud not found at $NORVIK_CLOUD (build the norvik-cloud target)" >&2; exit 2; }
command -v rclone >/dev/null || { echo "rclone is missing (tests/servers/install-clients.sh)" >&2; exit 2; }

# An sshd and an account of its own: the launcher points its user's home into its state
# folder, which must not move the home of the test suite's user while tests run.
export SFTP_PORT="${BENCH_SFTP_PORT:-12222}"
export CLOUDTEST_RUN="${BENCH_SFTP_RUN:-${TMPDIR:-/tmp}/norvik-sftpbench-sshd}"
export SFTP_USER="${BENCH_SFTP_USER:-norvikbench}" SFTP_PASSWORD="norvikbench-pw"
RUN="$CLOUDTEST_RUN/sftp"
"$REPO/tests/servers/start-sftp.sh" status >/dev/null 2>&1 &&
  { echo "[sftp_compare] an sshd already runs with state in $CLOUDTEST_RUN" >&2; exit 1; }
WORK=""
cleanup() {
  [ -n "$WORK" ] && rm -rf "$WORK"
  "$REPO/tests/servers/start-sftp.sh" stop >/dev/null 2>&1 || true
  rm -rf "$CLOUDTEST_RUN"
}
trap cleanup EXIT
"$REPO/tests/servers/start-sftp.sh" start >/dev/null
WORK="$(mktemp -d "${TMPDIR:-/tmp}/norvik-sftpbench.XXXXXX")"
REMOTE="$RUN/home/$SFTP_USER/bench-$$"
mkdir -p "$REMOTE" && chown "$SFTP_USER:" "$REMOTE"

echo "[sftp_compare] making $SIZE_MIB MiB of random data" >&2
head -c "$((SIZE_MIB * 1048576))" /dev/urandom > "$WORK/source.bin"
cat > "$WORK/norvik.json" <<JSON
{"CloudType": "Sftp", "CloudId": "{$(cat /proc/sys/kernel/random/uuid)}", "Address": "127.0.0.1",
 "Port": $SFTP_PORT, "UseProxy": false, "User": "$SFTP_USER", "Password": "$SFTP_PASSWORD",
 "Path": "$REMOTE"}
JSON
SSH_OPTS=(-P "$SFTP_PORT" -i "$RUN/client_ed25519" -o BatchMode=yes -o StrictHostKeyChecking=yes
          -o "UserKnownHostsFile=$RUN/known_hosts")
RCLONE_OPTS=(--sftp-host=127.0.0.1 "--sftp-port=$SFTP_PORT" "--sftp-user=$SFTP_USER"
             "--sftp-key-file=$RUN/client_ed25519" "--sftp-known-hosts-file=$RUN/known_hosts" --config=/dev/null)

rows=()
failed=0
# measure TOOL DIRECTION CHECK-FILE COMMAND...: one timed step, then cmp of CHECK-FILE (local
# downloads) against the source; uploads are checked by the download that follows.
measure() {
  local tool="$1" direction="$2" check="$3"; shift 3
  sync
  local stats status=ok
  if ! /usr/bin/time -o "$WORK/time" -f '%e %U %S %M' "$@" >/dev/null 2>"$WORK/err"; then status=FAILED; fi
  stats=$(tail -1 "$WORK/time")
  [ -n "$check" ] && ! cmp -s "$WORK/source.bin" "$check" && status=DIFFERS
  [ "$status" = ok ] || { failed=1; echo "[sftp_compare] $tool $direction: $status" >&2; cat "$WORK/err" >&2; }
  rows+=("$tool $direction $stats $status")
  local wall user sys rss
  read -r wall user sys rss <<<"$stats"
  bench_tsv sftp "$tool" "$([ "$direction" = up ] && echo upload || echo download)" "$wall" \
    "$(awk -v u="$user" -v s="$sys" 'BEGIN { print u + s }')" "$SIZE_MIB" "$rss" "$status"
}

measure norvik-cloud up "" "$NORVIK_CLOUD" --config "$WORK/norvik.json" put "$WORK/source.bin" norvik.bin
measure norvik-cloud down "$WORK/norvik.back" "$NORVIK_CLOUD" --config "$WORK/norvik.json" get norvik.bin "$WORK/norvik.back"
measure rclone up "" rclone copyto "$WORK/source.bin" ":sftp:$REMOTE/rclone.bin" "${RCLONE_OPTS[@]}"
measure rclone down "$WORK/rclone.back" rclone copyto ":sftp:$REMOTE/rclone.bin" "$WORK/rclone.back" "${RCLONE_OPTS[@]}"
echo "put \"$WORK/source.bin\" \"$REMOTE/sftp.bin\"" > "$WORK/up.batch"
echo "get \"$REMOTE/sftp.bin\" \"$WORK/sftp.back\"" > "$WORK/down.batch"
measure sftp up "" sftp -q -b "$WORK/up.batch" "${SSH_OPTS[@]}" "$SFTP_USER@127.0.0.1"
measure sftp down "$WORK/sftp.back" sftp -q -b "$WORK/down.batch" "${SSH_OPTS[@]}" "$SFTP_USER@127.0.0.1"
measure cp up "" cp "$WORK/source.bin" "$WORK/cp.bin"
measure cp down "$WORK/cp.back" cp "$WORK/cp.bin" "$WORK/cp.back"
for name in norvik rclone sftp; do
  cmp -s "$WORK/source.bin" "$REMOTE/$name.bin" || { failed=1; echo "[sftp_compare] $name upload differs" >&2; }
done

printf '%-13s %-5s %9s %9s %11s %10s %s\n' client dir "wall s" "MiB/s" "CPU s/GiB" "peak MiB" result
for row in "${rows[@]}"; do
  read -r tool direction wall user sys rss status <<<"$row"
  awk -v t="$tool" -v d="$direction" -v w="$wall" -v u="$user" -v s="$sys" -v r="$rss" -v m="$SIZE_MIB" -v st="$status" \
    'BEGIN { printf "%-13s %-5s %9.2f %9.1f %11.2f %10.1f %s\n", t, d, w, (w > 0 ? m / w : 0), (u + s) * 1024 / m, r / 1024, st }'
done
exit $failed
