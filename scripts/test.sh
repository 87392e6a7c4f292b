#!/usr/bin/env bash
# Sets up, builds and runs every test. Pass --sanitize for an ASan+UBSan build.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/bootstrap.sh

BUILD=build
EXTRA=()
if [ "${1:-}" = "--sanitize" ]; then
  BUILD=build-asan
  EXTRA=(-DLNQ_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug -DLNQ_BUILD_BENCH=OFF)
  # Leaks count too, but for the caches the font library keeps until exit.
  export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
  export LSAN_OPTIONS=suppressions=$PWD/tests/lsan.supp:print_suppressions=0
  export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
else
  EXTRA=(-DCMAKE_BUILD_TYPE=RelWithDebInfo)
fi

cmake -S . -B "$BUILD" -G Ninja "${EXTRA[@]}" >/dev/null
cmake --build "$BUILD" -j"$(nproc)"
cd "$BUILD"
ctest --output-on-failure -j"$(nproc)"
