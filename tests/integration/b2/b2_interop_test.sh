#!/usr/bin/env bash
# What we upload (in one piece and in parts) b2sdk and rclone download byte for byte; what they
# upload we list and download. Names the service refuses end with error 29 and its record.
# Usage: b2_interop_test.sh PATH-TO-norvik-cloud B2-ENDPOINT-FILE
set -uo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
client="$1"
endpoint="$(cat "$2")" || { echo "no endpoint: the b2 test server did not start"; exit 1; }
kid=000a1b2c3d4e5f60000000001 key=K000xxxxxxxxxxxxxxxxxxxxxxxxxxx
work="$(mktemp -d /tmp/norvik-b2-interop.XXXXXX)"
trap 'rm -rf "$work"' EXIT
failures=0 passes=0
check() {
    local name="$1"; shift
    if "$@"; then passes=$((passes + 1)); else echo "FAILED: $name"; failures=$((failures + 1)); fi
}
[ -x /usr/bin/rclone ] || "$here/../../servers/install-clients.sh" >/dev/null || { echo "FAILED: no rclone"; exit 1; }
sdk() { /usr/bin/python3 "$here/b2sdk_client.py" "$endpoint" "$kid" "$key" "$@"; }
export RCLONE_CONFIG_B2T_TYPE=b2 RCLONE_CONFIG_B2T_ACCOUNT=$kid RCLONE_CONFIG_B2T_KEY=$key \
       RCLONE_CONFIG_B2T_ENDPOINT=$endpoint
rc() { rclone --config /dev/null --retries 1 --low-level-retries 3 --b2-upload-cutoff 5M --b2-chunk-size 5M "$@"; }

bucket="interop-$(date +%s)-$$"
id="$(sdk create "$bucket")" || { echo "FAILED: b2sdk cannot create a bucket"; exit 1; }
cat > "$work/b2.json" <<JSON
{"CloudType": "BackBlaze", "Endpoint": "$endpoint", "UseSsl": false, "AccountId": "$kid",
 "ApplicationKey": "$key", "ContainerName": "$bucket|$id"}
JSON
nc() { "$client" --config "$work/b2.json" "$@"; }

printf 'small file\n' > "$work/small.txt"
head -c 12000000 /dev/urandom > "$work/large.bin"

# Ours, read by theirs.
check "we put a small file" nc put "$work/small.txt" "/ours/small file.txt"
check "we put a large file in parts" nc put "$work/large.bin" /ours/large.bin --multipart --chunk-size 5242880
for name in "ours/small file.txt" ours/large.bin; do
    source="$work/small.txt"; [ "$name" = ours/large.bin ] && source="$work/large.bin"
    sdk get "$bucket" "$name" "$work/sdk.out"
    check "b2sdk reads $name" cmp -s "$work/sdk.out" "$source"
    rc cat "b2t:$bucket/$name" > "$work/rclone.out"
    check "rclone reads $name" cmp -s "$work/rclone.out" "$source"
done

# Theirs, read by ours.
check "b2sdk puts a small file" sdk put "$bucket" sdk/small.txt "$work/small.txt"
check "b2sdk puts a large file" sdk put "$bucket" sdk/large.bin "$work/large.bin"
check "rclone puts a small file" rc copyto "$work/small.txt" "b2t:$bucket/rclone/small.txt"
check "rclone puts a large file" rc copyto "$work/large.bin" "b2t:$bucket/rclone/large.bin"
listed="$(nc ls --all)"
for name in sdk/small.txt sdk/large.bin rclone/small.txt rclone/large.bin; do
    source="$work/small.txt"; [ "${name#*/}" = large.bin ] && source="$work/large.bin"
    check "we list $name" grep -qF " $name" <<<"$listed"
    nc get "/$name" "$work/ours.out"
    check "we read $name" cmp -s "$work/ours.out" "$source"
done

# A name with a control character: refused by the service, code 29 with the B2 record.
out="$(nc put "$work/small.txt" "/bad/a$(printf '\001')b" 2>&1)"; rc_status=$?
check "a refused name fails with status 1" test $rc_status -eq 1
check "a refused name reports error 29 with its record" grep -q 'error 29: .*cloud error record' <<<"$out"

echo "$passes passed, $failures failed"
[ $failures -eq 0 ]
