#!/usr/bin/env bash
# Installs what is missing, builds the library and its tools, runs the example client, and
# runs vrx-transform on an example graph.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DVRX_BUILD_TESTS=OFF >/dev/null
cmake --build build
echo
echo "== examples/client: a small classifier through the five exports =="
build/examples/client/vrx-example-client
echo
echo "== vrx-transform: examples/graphs/small_cnn.json through the transformer into a recording backend =="
build/tools/vrx-transform examples/graphs/small_cnn.json --backend NXA -o build/small_cnn.out.json --dot
