#!/usr/bin/env bash
# Usage: client_s3_test.sh PATH-TO-norvik-cloud SWIFT-ENDPOINT-FILE
set -uo pipefail
client="$1"
endpoint="$(cat "$2")" || { echo "no endpoint: the swift test server did not start"; exit 1; }
work="$(mktemp -d /tmp/norvik-client-s3-test.XXXXXX)"
trap 'rm -rf "$work"' EXIT
failures=0 passes=0
check() {
    local name="$1"; shift
    if "$@"; then passes=$((passes + 1)); else echo "FAILED: $name"; failures=$((failures + 1)); fi
}
bucket="tool-$(date +%s)-$$"

# Without "UseSsl" the endpoint's scheme decides: https means TLS, which this plain-http server
# refuses, so nothing goes out in the clear. The client tries a failed handshake again for about a
# minute and a half, so this check runs beside all the others.
cat > "$work/https.json" <<JSON
{"CloudType": "S3Compatible", "Endpoint": "${endpoint/http:/https:}", "AccessKey": "test:tester",
 "SecretKey": "testing", "Region": "us-east-1", "ContainerName": "$bucket-https"}
JSON
"$client" --config "$work/https.json" ls >/dev/null 2>&1 &
https_client=$!
for signature in V4 V2; do
    config="$work/s3-$signature.json"
    cat > "$config" <<JSON
{"CloudType": "S3Compatible", "Endpoint": "$endpoint", "UseSsl": false, "AccessKey": "test:tester",
 "SecretKey": "testing", "Region": "us-east-1", "ContainerName": "$bucket-${signature,,}",
 "Signature": "$signature"}
JSON
    nc() { "$client" --config "$config" "$@"; }
    check "$signature: create container" nc containers --create "$bucket-${signature,,}"
    check "$signature: container is listed" bash -c "'$client' --config '$config' containers | grep -q '$bucket-${signature,,}'"
    check "$signature: check" nc check

    mkdir -p "$work/src-$signature/d/e" "$work/src-$signature/empty"
    printf 'small\n' > "$work/src-$signature/d/small.txt"
    head -c 12000000 /dev/urandom > "$work/src-$signature/d/e/parts.bin"
    chmod 604 "$work/src-$signature/d/small.txt"
    check "$signature: backup" nc backup "$work/src-$signature" /bk
    check "$signature: restore" nc restore /bk "$work/out-$signature"
    check "$signature: restored tree is identical" diff -r "$work/src-$signature" "$work/out-$signature"
    check "$signature: mode kept" test "$(stat -c %a "$work/out-$signature/d/small.txt")" = 604

    # A multipart upload continued from its state file after the state names a real upload.
    check "$signature: multipart put" nc put "$work/src-$signature/d/e/parts.bin" /m/parts.bin --multipart \
        --chunk-size 5242880 --state "$work/state-$signature"
    check "$signature: state file removed after success" test ! -e "$work/state-$signature"
    nc get /m/parts.bin "$work/parts.back"
    check "$signature: multipart object identical" cmp "$work/parts.back" "$work/src-$signature/d/e/parts.bin"
    nc get /m/parts.bin "$work/range" --range 5242879-5242890
    check "$signature: range across a part boundary" cmp "$work/range" \
        <(tail -c +5242880 "$work/src-$signature/d/e/parts.bin" | head -c 12)

    url="$(nc sign /bk/d/small.txt --expires 300)"
    check "$signature: signed URL serves the object" bash -c "curl -sf '$url' | cmp - '$work/src-$signature/d/small.txt'"
    check "$signature: ls pages" test "$(nc ls bk/ --all --max 1 | grep -c '^[-d] ')" -ge 2
    check "$signature: ls names as given, without a leading slash" \
        test "$(nc ls /bk/d/ | awk '{print $NF}' | grep -c '^bk/d/')" -ge 1
    check "$signature: cat" cmp <(nc cat /m/parts.bin) "$work/src-$signature/d/e/parts.bin"
    check "$signature: rm" nc rm /m/parts.bin
    out="$(nc get /m/parts.bin "$work/gone" 2>&1)"; rc=$?
    check "$signature: removed object fails with status 1" test $rc -eq 1
    check "$signature: error code printed" grep -q 'error [0-9]\+: ' <<<"$out"
done

# A wrong secret is refused with the library's code, not a crash or a hang.
sed 's/"testing"/"wrong"/' "$work/s3-V4.json" > "$work/bad.json"
out="$("$client" --config "$work/bad.json" ls 2>&1)"; rc=$?
check "wrong secret fails with status 1" test $rc -eq 1
check "wrong secret reports the signature error" grep -q 'error 9: ' <<<"$out"

# An http endpoint without "UseSsl" goes out in plain http.
sed 's/"UseSsl": false, //' "$work/s3-V4.json" > "$work/http.json"
check "http endpoint without UseSsl works" "$client" --config "$work/http.json" ls

wait $https_client; rc=$?
check "https endpoint is never used over plain http" test $rc -eq 1

echo "$passes passed, $failures failed"
test $failures -eq 0
