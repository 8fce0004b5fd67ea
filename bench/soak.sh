#!/usr/bin/env bash
# Soak: mixed uploads and downloads at once through Swift's S3 interface for a long time
# (bench_soak). Usage: bench/soak.sh [SECONDS, default 600] [AT_ONCE, default 20]
#
# Starts a Swift of its own (swift-bench.sh: ports BENCH_SWIFT_PORT, default 18080, and so on),
# makes a bucket, runs the program, and removes the bucket's objects, the server and its state at the end. Sources and
# downloads go to $TMPDIR. Exit status: the program's (1 when a limit was broken).
set -euo pipefail
REPO="$(cd "$(dirname "$0")/.." && pwd)"
SECONDS_TO_RUN="${1:-600}"
AT_ONCE="${2:-20}"
NORVIK_CLOUD="${NORVIK_CLOUD:-$REPO/build/tools/norvik-cloud}"
BENCH_SOAK="${BENCH_SOAK:-$REPO/build/bench/bench_soak}"
[ -x "$NORVIK_CLOUD" ] && [ -x "$BENCH_SOAK" ] || { echo "build norvik-cloud and bench_soak first" >&2; exit 2; }

source "$REPO/bench/swift-bench.sh"
swift_bench_start soak
echo "soak through $ENDPOINT (Swift's S3 interface), $(nproc) cores, load $(cut -d' ' -f1-3 /proc/loadavg)"
TMPDIR="$WORK" "$BENCH_SOAK" "$WORK/config.json" "$SECONDS_TO_RUN" "$AT_ONCE"
