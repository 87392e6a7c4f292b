#!/usr/bin/env bash
# Builds the benchmarks in Release and runs them (optionally only those whose
# name matches $1). Figures are ratios against baselines measured in the same run.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/bootstrap.sh
cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DLNQ_BUILD_TESTS=OFF >/dev/null
cmake --build build-bench -j"$(nproc)"
for b in build-bench/bench/bench_*; do
  [ -f "$b" ] && [ -x "$b" ] || continue
  case "$(basename "$b")" in *${1:-}*) ;; *) continue ;; esac
  echo "== $(basename "$b")"
  QT_QPA_PLATFORM=offscreen "$b" --benchmark_counters_tabular=true
done
