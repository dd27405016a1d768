#!/usr/bin/env bash
# Installs what is missing, builds the library and its tools, and runs the example client.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DVRX_BUILD_TESTS=OFF >/dev/null
cmake --build build
echo
echo "== examples/client: a small classifier through the five exports =="
build/examples/client/vrx-example-client
