# Sourced by the benchmarks that work against a Swift of their own through its S3 interface:
#     source "$(dirname "$0")/swift-bench.sh"; swift_bench_start NAME
# starts Swift (ports BENCH_SWIFT_PORT, default 18080, BENCH_SWIFT_BASE_PORT 16010,
# BENCH_SWIFT_MEMCACHE_PORT 11411; state in BENCH_SWIFT_RUN, default $TMPDIR/norvik-NAME-swift),
# makes a scratch folder WORK, a bucket BUCKET and its configuration WORK/config.json for
# norvik-cloud (NORVIK_CLOUD), sets ENDPOINT, and stops the server and removes both folders at exit.
swift_bench_start() {
    local name="$1"
    export SWIFT_PORT="${BENCH_SWIFT_PORT:-18080}" SWIFT_BASE_PORT="${BENCH_SWIFT_BASE_PORT:-16010}"
    export SWIFT_MEMCACHE_PORT="${BENCH_SWIFT_MEMCACHE_PORT:-11411}"
    export CLOUDTEST_RUN="${BENCH_SWIFT_RUN:-${TMPDIR:-/tmp}/norvik-$name-swift}"
    WORK="$(mktemp -d "${TMPDIR:-/tmp}/norvik-$name.XXXXXX")"
    trap '"$REPO/tests/servers/start-swift.sh" stop >/dev/null 2>&1 || true; rm -rf "$WORK" "$CLOUDTEST_RUN"' EXIT
    ENDPOINT="$("$REPO/tests/servers/start-swift.sh" start)"
    BUCKET="norvik-$name-$(date +%s)-$$"
    cat > "$WORK/config.json" <<JSON
{"CloudType": "S3Compatible", "CloudId": "$name", "Endpoint": "$ENDPOINT", "UseSsl": false,
 "AccessKey": "test:tester", "SecretKey": "testing", "Region": "us-east-1",
 "ContainerName": "$BUCKET", "Signature": "V4"}
JSON
    "$NORVIK_CLOUD" --config "$WORK/config.json" containers --create "$BUCKET"
}
