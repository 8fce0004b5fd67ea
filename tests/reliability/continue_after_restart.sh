#!/usr/bin/env bash
# The server dies in the middle of a multipart upload: the command-line client is uploading in
# parts with --state, Swift's proxy is killed by its PID (and the client with it, as a machine
# that goes down would take both), Swift is started again, and the same command in a fresh
# process continues the upload by the upload id in its state file. The object must be exact,
# and the parts the server had taken before it died must not be sent again.
#
# Usage: continue_after_restart.sh NORVIK-CLOUD SWIFT-ENDPOINT-FILE s3|openstack
# The client's log tells when the first run has parts in, and which parts the second run found
# at the server and which it sent.
set -uo pipefail
client="$1"
endpoint="$(cat "$2")" || { echo "no endpoint: the swift test server did not start"; exit 1; }
kind="$3"
repo="$(cd "$(dirname "$0")/../.." && pwd)"
swift_dir="${CLOUDTEST_RUN:-/tmp/norvik-cloudtest}/swift"
work="$(mktemp -d /tmp/norvik-restart-test.XXXXXX)"
trap 'rm -rf "$work"' EXIT
fail() { echo "FAILED: $*"; exit 1; }

container="restart-$kind-$(date +%s)-$$"
if [ "$kind" = s3 ]; then
    cat > "$work/config.json" <<JSON
{"CloudType": "S3Compatible", "Endpoint": "$endpoint", "UseSsl": false, "AccessKey": "test:tester",
 "SecretKey": "testing", "Region": "us-east-1", "ContainerName": "$container", "Signature": "V4"}
JSON
else
    cat > "$work/config.json" <<JSON
{"CloudType": "Openstack", "Endpoint": "$endpoint/auth/v1.0", "UseSsl": false, "Username": "test:tester",
 "ApiKey": "testing", "ContainerName": "$container"}
JSON
fi
nc() { "$client" --config "$work/config.json" "$@"; }
nc containers --create "$container" > /dev/null || fail "container not made"

part=$((5 * 1024 * 1024))
parts=40
head -c $((parts * part - 12345)) /dev/urandom > "$work/big.bin"

# First run, with two threads to give the kill time: killed with the server once a few parts
# are in.
"$client" --config "$work/config.json" put "$work/big.bin" /restart/big.bin --multipart --chunk-size "$part" \
    --state "$work/state" --threads 2 --verbose > "$work/first.log" 2>&1 &
client_pid=$!
for _ in $(seq 1 1200); do
    [ -s "$work/state" ] && [ "$(grep -c "Upload part finished:" "$work/first.log")" -ge 3 ] && break
    kill -0 "$client_pid" 2>/dev/null || break
    sleep 0.02
done
kill -0 "$client_pid" 2>/dev/null || fail "the first run ended before the server could be killed: $(cat "$work/first.log")"
# The proxy with every process below it (workers), from the process id in its PID file.
tree_of() { echo "$1"; for child in $(pgrep -P "$1"); do tree_of "$child"; done; }
kill -9 $(tree_of "$(sed -n 1p "$swift_dir/run/proxy.pid")") "$client_pid"
wait "$client_pid" 2>/dev/null
[ -s "$work/state" ] || fail "no upload id was kept"

# The server comes back with what it had stored; the same command continues the upload.
"$repo/tests/servers/start-swift.sh" start > /dev/null || fail "swift did not start again"
nc put "$work/big.bin" /restart/big.bin --multipart --chunk-size "$part" --state "$work/state" --verbose \
    > "$work/second.log" 2>&1 || fail "the continued upload failed: $(cat "$work/second.log")"
parts_logged() { sed -n "s/.*$1.* part: \([0-9]*\)$/\1/p" "$work/second.log" | sort -n | uniq; }
kept="$(parts_logged "Part is already uploaded:")"
sent="$(comm -23 <(parts_logged "Start UploadPart job:" | sort) <(sort <<<"$kept") | sort -n)"
echo "parts found at the server: $(echo $kept)"
echo "parts sent after the restart: $(echo $sent)"

[ ! -e "$work/state" ] || fail "the state file stayed after success"
nc get /restart/big.bin "$work/back.bin" > /dev/null || fail "download failed"
cmp "$work/big.bin" "$work/back.bin" || fail "the object differs from the source"
# Some parts were found and not sent again, and every part is one or the other.
[ -n "$kept" ] || fail "the continued upload found no part at the server"
[ -n "$sent" ] || fail "the first run had sent every part: kill it sooner"
[ "$(printf '%s\n%s\n' "$kept" "$sent" | grep -c .)" -eq "$parts" ] || fail "not every part was found or sent once"
nc rm /restart/big.bin > /dev/null
echo "continued after the restart: exact, $(grep -c . <<<"$sent") of $parts parts sent after it"
