#!/usr/bin/env bash
# Builds the libFuzzer targets (tests/fuzz/fuzz_*.cpp) with clang, ASan and
# UBSan in build-fuzz, runs each for SECONDS (default 60), and prints per
# target the executions, executions per second and crashes.
#
#   bash scripts/fuzz.sh [SECONDS] [NAME]        NAME: only targets containing it
#   bash scripts/fuzz.sh --runs N [NAME]         each target for N executions
#                                                (LNQ_FUZZ_MAX_SECONDS: and at most that long)
#   bash scripts/fuzz.sh --merge [NAME]          minimise the checked-in corpora
#
# --merge adds to the checked-in seeds only those inputs found by the runs
# that reach code the seeds do not (libFuzzer's -merge=1), so the replay
# stays small and fast.
# Each run starts from the checked-in seeds (tests/fuzz/corpus/<name>/) plus
# what earlier runs found (build-fuzz/corpus/<name>/). Allocations beyond the
# targets' stated limits count as crashes (-malloc_limit_mb, -rss_limit_mb).
# A crash input is kept as a regression case: in the replayed corpus
# (tests/fuzz/corpus/<name>/crash-*), except for the T-SQL translator, whose
# crash inputs go to tests/fuzz/crashes-tsql/ until the translator is fixed.
# LNQ_JOBS sets the build's parallel jobs (default: all cores).
set -euo pipefail
cd "$(dirname "$0")/.."
MODE=time
case "${1:-}" in
  --runs)
    MODE=runs
    RUNS=${2:?--runs needs a count}
    shift 2
    ;;
  --merge)
    MODE=merge
    shift
    ;;
  *)
    SECONDS_EACH=${1:-60}
    shift || true
    ;;
esac
ONLY=${1:-}
bash scripts/bootstrap.sh
CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DLNQ_FUZZ=ON \
  -DLNQ_BUILD_BENCH=OFF >/dev/null
cmake --build build-fuzz -j"${LNQ_JOBS:-$(nproc)}" --target fuzzers

# Longest input per target: enough for every seed and a few mutations on top.
max_len() {
  case "$1" in
    tsql | filterexpr) echo 4096 ;;
    streams) echo 16384 ;;
    *) echo 65536 ;;
  esac
}

export QT_QPA_PLATFORM=offscreen TZ=Asia/Shanghai LC_ALL=C.UTF-8 QT_LOGGING_RULES='qt.qpa.*=false'
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:allocator_may_return_null=0}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
export LSAN_OPTIONS=${LSAN_OPTIONS:-suppressions=$PWD/tests/lsan.supp:print_suppressions=0}
summary=()
status=0
for bin in build-fuzz/tests/fuzz/fuzz_*; do
  [ -f "$bin" ] && [ -x "$bin" ] || continue
  name=$(basename "$bin")
  name=${name#fuzz_}
  case "$name" in *${ONLY}*) ;; *) continue ;; esac
  work=build-fuzz/corpus/$name
  artifacts=build-fuzz/artifacts/$name
  log=build-fuzz/fuzz-$name.log
  mkdir -p "$work" "$artifacts"
  rm -f "$artifacts"/*
  limits=(-max_len="$(max_len "$name")" -timeout=10 -rss_limit_mb=2048 -malloc_limit_mb=512)
  if [ "$MODE" = merge ]; then
    seeds=tests/fuzz/corpus/$name
    "$bin" -merge=1 "${limits[@]}" "$seeds" "$work" >"build-fuzz/merge-$name.log" 2>&1
    summary+=("$(printf '%-12s corpus %s files, %s KiB' "$name" "$(find "$seeds" -type f | wc -l)" \
      "$(du -sk "$seeds" | cut -f1)")")
    continue
  fi
  if [ "$MODE" = runs ]; then
    echo "== fuzz_$name: $RUNS runs"
    budget=(-runs="$RUNS")
    [ -z "${LNQ_FUZZ_MAX_SECONDS:-}" ] || budget+=(-max_total_time="$LNQ_FUZZ_MAX_SECONDS")
  else
    echo "== fuzz_$name: ${SECONDS_EACH}s"
    budget=(-max_total_time="$SECONDS_EACH")
  fi
  "$bin" "${budget[@]}" "${limits[@]}" -print_final_stats=1 \
    -artifact_prefix="$artifacts/" "$work" "tests/fuzz/corpus/$name" >"$log" 2>&1 || true
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
  rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -1)
  crashes=0
  for a in "$artifacts"/*; do
    [ -f "$a" ] || continue
    crashes=$((crashes + 1))
    if [ "$name" = tsql ]; then
      dest=tests/fuzz/crashes-tsql
    else
      dest=tests/fuzz/corpus/$name
    fi
    mkdir -p "$dest"
    cp "$a" "$dest/$(basename "$a")"
    echo "   kept $(basename "$a") in $dest (log: $log)"
  done
  [ "$crashes" -eq 0 ] || status=1
  corpus=$(find "$work" -type f | wc -l)
  summary+=("$(printf '%-12s executions %-10s exec/s %-7s crashes %-3s corpus %s' "$name" "${runs:-?}" \
    "${rate:-?}" "$crashes" "$corpus")")
done
echo
case "$MODE" in
  runs) echo "fuzz summary ($RUNS runs per target):" ;;
  merge) echo "merged corpora:" ;;
  *) echo "fuzz summary (${SECONDS_EACH}s per target):" ;;
esac
printf '  %s\n' "${summary[@]}"
exit $status
