#!/usr/bin/env bash
# Sets up, builds and runs the main job: the lnq tool on the embedded sample
# database (created beside the build on first run).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/bootstrap.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)" --target lnq
LNQ=build/lnq
echo '$ lnq capital 1005.30'
"$LNQ" capital 1005.30
echo '$ lnq pinyin 北京市海淀区'
"$LNQ" pinyin 北京市海淀区
