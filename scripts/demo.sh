#!/usr/bin/env bash
# Builds Hordera and runs its main job: makes the sample crowd if it is missing, renders one
# frame of it to demo/crowd.png and bakes it to demo/crowd.glb.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
hordera_install_deps
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release -DHORDERA_BUILD_TESTS=OFF -DHORDERA_BUILD_BENCH=OFF \
  > build.configure.log 2>&1 || { cat build.configure.log; echo "error: configuring failed" >&2; exit 1; }
cmake --build build -j "$(nproc)" --target hordera hordera_plugin ||
  { echo "error: building failed" >&2; exit 1; }
./build/hordera demo --dir demo
