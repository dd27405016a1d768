#!/usr/bin/env bash
# Installs what is missing, builds everything with AddressSanitizer and
# UndefinedBehaviorSanitizer, and runs all tests.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/deps.sh
cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVRX_SANITIZE=ON >/dev/null
cmake --build build-asan
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
ctest --test-dir build-asan --output-on-failure -j "$(nproc)"
