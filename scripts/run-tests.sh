#!/usr/bin/env bash
# Installs the dependencies, builds everything and runs the whole test suite.
# Usage: scripts/run-tests.sh [build-dir] [extra ctest arguments...]
set -euo pipefail
cd "$(dirname "$0")/.."

build_dir="${1:-build}"
shift || true

bash scripts/install-dependencies.sh --tests
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DNORVIK_BUILD_TESTS=ON >/dev/null
cmake --build "$build_dir" -j"$(nproc)"
ctest --test-dir "$build_dir" --output-on-failure --timeout 600 "$@"
