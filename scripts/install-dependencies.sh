#!/usr/bin/env bash
# Installs what building norvik-cloud needs on Debian 12; with --tests, also what the test
# suite needs (test servers install their own packages when they first start).
set -euo pipefail

packages=(cmake g++ make pkg-config ccache qtbase5-dev libqt5xml5 libnanomsg-dev libcurlpp-dev
          libcurl4-openssl-dev libssl-dev libboost-system-dev curl ca-certificates python3)
if [[ "${1:-}" == "--tests" ]]; then
    packages+=(libgtest-dev libgmock-dev libbenchmark-dev libcpp-httplib-dev clang-14 libclang-rt-14-dev
               openssl procps faketime)
fi

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if ((${#missing[@]})); then
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
