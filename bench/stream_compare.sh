#!/usr/bin/env bash
# Reading one large object through Swift's S3 interface: a single stream download against the
# cloud streams (bench_stream). Usage: bench/stream_compare.sh [SIZE_MIB, default 1024] [PART_MIB]
#
# Starts a Swift of its own (swift-bench.sh: ports BENCH_SWIFT_PORT, default 18080, and so on),
# uploads a random file with norvik-cloud, runs bench_stream on it, and removes everything at the end.
set -euo pipefail
REPO="$(cd "$(dirname "$0")/.." && pwd)"
SIZE_MIB="${1:-1024}"
PART_MIB="${2:-0}"
NORVIK_CLOUD="${NORVIK_CLOUD:-$REPO/build/tools/norvik-cloud}"
BENCH_STREAM="${BENCH_STREAM:-$REPO/build/bench/bench_stream}"
[ -x "$NORVIK_CLOUD" ] && [ -x "$BENCH_STREAM" ] || { echo "build norvik-cloud and bench_stream first" >&2; exit 2; }

source "$REPO/bench/swift-bench.sh"
swift_bench_start streambench
head -c $((SIZE_MIB * 1024 * 1024)) /dev/urandom > "$WORK/source.bin"
"$NORVIK_CLOUD" --config "$WORK/config.json" put "$WORK/source.bin" /object.bin
echo "object: $SIZE_MIB MiB through $ENDPOINT (Swift's S3 interface), $(nproc) cores"
"$BENCH_STREAM" "$WORK/config.json" /object.bin "$WORK/source.bin" "$PART_MIB"
"$NORVIK_CLOUD" --config "$WORK/config.json" rm /object.bin || true
