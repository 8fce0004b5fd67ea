#!/usr/bin/env bash
# Our Swift connection beside Swift's own client (Debian's python3-swiftclient), signed in by
# Swift's auth and by Keystone v3: it downloads our static large objects byte for byte and
# deletes them with their segments; we list and download what it uploaded in segments; our
# temporary URLs serve curl, and refuse a wrong signature.
# Usage: swift_client_test.sh NORVIK-CLOUD SWIFT-ENDPOINT-FILE KEYSTONE-ENDPOINT-FILE
set -uo pipefail
client="$1"
swift_ep="$(cat "$2")" || { echo "no endpoint: the swift test server did not start"; exit 1; }
keystone_ep="$(cat "$3")" || { echo "no endpoint: the keystone test server did not start"; exit 1; }
SWIFT=/usr/bin/swift
[ -x "$SWIFT" ] || { echo "Swift's client is missing (python3-swiftclient)"; exit 1; }
work="$(mktemp -d /tmp/norvik-swift-client.XXXXXX)"
trap 'rm -rf "$work"' EXIT
failures=0 passes=0
check() {
    local name="$1"; shift
    if "$@"; then passes=$((passes + 1)); else echo "FAILED: $name"; failures=$((failures + 1)); fi
}
head -c 12000000 /dev/urandom > "$work/big.bin"
printf 'small object\n' > "$work/small.txt"

for auth in v1 v3; do
    c="interop-$auth-$(date +%s)-$$"
    if [ $auth = v1 ]; then
        cat > "$work/$auth.json" <<JSON
{"CloudType": "Openstack", "Endpoint": "$swift_ep/auth/v1.0", "UseSsl": false,
 "Username": "test:tester", "ApiKey": "testing", "ContainerName": "$c"}
JSON
        sw() { "$SWIFT" -q -A "$swift_ep/auth/v1.0" -U test:tester -K testing "$@"; }
    else
        cat > "$work/$auth.json" <<JSON
{"CloudType": "Openstack", "Endpoint": "$keystone_ep/v3", "UseSsl": false, "AuthType": 3,
 "Username": "tester", "ApiKey": "testerpw", "DomainName": "Default", "Region": "RegionOne",
 "UseScope": true, "ProjectName": "swifttest", "ContainerName": "$c"}
JSON
        sw() { "$SWIFT" -q --auth-version 3 --os-auth-url "$keystone_ep/v3" --os-username tester \
                 --os-password testerpw --os-project-name swifttest --os-user-domain-name Default \
                 --os-project-domain-name Default "$@"; }
    fi
    nc() { "$client" --config "$work/$auth.json" "$@"; }

    check "$auth: create container" nc containers --create "$c"
    # Ours in parts, read and deleted by Swift's client.
    check "$auth: our multipart upload" nc put "$work/big.bin" /m/big.bin --multipart --chunk-size 5242880
    sw stat "$c" m/big.bin > "$work/stat"
    check "$auth: Swift's client sees a static large object" grep -qi 'manifest' "$work/stat"
    rm -f "$work/down.bin"
    sw download "$c" m/big.bin -o "$work/down.bin"
    check "$auth: Swift's client downloads it byte for byte" cmp "$work/down.bin" "$work/big.bin"
    sw delete "$c" m/big.bin
    check "$auth: Swift's client deletes it with its segments" test -z "$(sw list "$c")"

    # Theirs in segments, listed and read by us.
    (cd "$work" && sw upload --use-slo -S 5242880 --object-name s/big.bin "$c" big.bin)
    check "$auth: we list their object with its size" \
        bash -c "'$client' --config '$work/$auth.json' ls s/ | grep -Eq '12000000 .* /?s/big.bin\$'"
    rm -f "$work/theirs.bin"
    check "$auth: we download their object" nc get /s/big.bin "$work/theirs.bin"
    check "$auth: byte for byte" cmp "$work/theirs.bin" "$work/big.bin"
    sw delete "$c" s/big.bin

    # Temporary URLs: with the key the account has, with only its second key, with a new key.
    check "$auth: small upload" nc put "$work/small.txt" "/t/a b.txt"
    for keys in existing second none; do
        case $keys in
        second) sw post -m "Temp-URL-Key:" -m "Temp-URL-Key-2:second-$$" ;;
        none)   sw post -m "Temp-URL-Key:" -m "Temp-URL-Key-2:" ;;
        esac
        url="$(nc sign "/t/a b.txt" --expires 300)"
        check "$auth/$keys key: the temporary URL serves curl" bash -c "curl -sf '$url' | cmp -s - '$work/small.txt'"
        bad="$(sed 's/temp_url_sig=[0-9a-f]/temp_url_sig=0/' <<<"$url")"
        [ "$bad" = "$url" ] && bad="$(sed 's/temp_url_sig=0/temp_url_sig=1/' <<<"$url")"
        check "$auth/$keys key: a wrong signature gets 401" \
            test "$(curl -s -o /dev/null -w '%{http_code}' "$bad")" = 401
    done
    sw delete "$c" >/dev/null 2>&1
done

echo "$passes passed, $failures failed"
[ $failures = 0 ] && [ $passes -gt 0 ]
