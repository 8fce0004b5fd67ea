#!/usr/bin/env bash
# Installs the dependencies, builds everything and runs the whole test suite; then builds the
# unit tests and the conformance suite again with AddressSanitizer and UndefinedBehaviorSanitizer
# and runs them there, two at a time (rows of one server still one after another). Any sanitizer
# finding ends its test with a failure.
# Usage: scripts/run-tests.sh [build-dir] [extra ctest arguments...]
# With extra ctest arguments only that selection runs, and the sanitizer pass is left out.
set -euo pipefail
cd "$(dirname "$0")/.."

build_dir="${1:-build}"
shift || true

bash scripts/install-dependencies.sh --tests
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DNORVIK_BUILD_TESTS=ON >/dev/null
cmake --build "$build_dir" -j"$(nproc)"
status=0
ctest --test-dir "$build_dir" --output-on-failure --timeout 600 "$@" || status=$?

if [ $# -eq 0 ]; then
    sanitize_dir="$build_dir-sanitize"
    echo "== the unit tests and the conformance suite under AddressSanitizer and UBSan ($sanitize_dir)"
    cmake -S . -B "$sanitize_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DNORVIK_BUILD_TESTS=ON \
        -DNORVIK_BUILD_BENCH=OFF -DNORVIK_SANITIZE=ON >/dev/null
    cmake --build "$sanitize_dir" -j"$(nproc)" --target unit_tests conformance
    ctest --test-dir "$sanitize_dir" --output-on-failure --timeout 900 -j"$(nproc)" -L '^(unit|conformance)$' || status=$?
fi
exit $status
