#!/usr/bin/env bash
# Runs every fuzz target long enough to mean something, one at a time: each until it has executed
# FUZZ_RUNS inputs (default 1,000,000) or spent FUZZ_MAX_SECONDS (default 900), whichever comes
# first. Corpora grow under build-fuzz/corpus/<target> (seeded from fuzz/corpus/<target>), crash
# inputs land in build-fuzz/artifacts/. Prints one line per target: name, executions, seconds and
# the result, and exits nonzero when any target failed.
#
#   scripts/fuzz_long.sh [target ...]      (default: every build-fuzz/bin/fuzz_*)
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/deps.sh

JOBS=${JOBS:-$(nproc)}
FUZZ_RUNS=${FUZZ_RUNS:-1000000}
FUZZ_MAX_SECONDS=${FUZZ_MAX_SECONDS:-900}
BUILD=build-fuzz

CC=clang-$KP_CLANG_VERSION CXX=clang++-$KP_CLANG_VERSION cmake -S . -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKPATDMCL_FUZZ=ON >/dev/null
cmake --build "$BUILD" -j "$JOBS" >/dev/null

targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  shopt -s nullglob
  for f in "$BUILD"/bin/fuzz_*; do targets+=("$(basename "$f")"); done
fi
[ ${#targets[@]} -gt 0 ] || { echo "no fuzz targets in $BUILD/bin"; exit 1; }

mkdir -p "$BUILD/artifacts" "$BUILD/logs"
printf '%-24s %12s %8s  %s\n' target executions seconds result
failed=0
for name in "${targets[@]}"; do
  bin="$BUILD/bin/$name"
  [ -x "$bin" ] || { printf '%-24s %12s %8s  %s\n' "$name" - - "no such target"; failed=1; continue; }
  corpus="$BUILD/corpus/$name"
  mkdir -p "$corpus"
  seeds=()
  [ -d "fuzz/corpus/$name" ] && seeds=("fuzz/corpus/$name")
  log="$BUILD/logs/$name.log"
  start=$(date +%s)
  rc=0
  "$bin" -runs="$FUZZ_RUNS" -max_total_time="$FUZZ_MAX_SECONDS" -timeout=10 -print_final_stats=1 \
    -artifact_prefix="$BUILD/artifacts/$name-" "$corpus" "${seeds[@]}" >"$log" 2>&1 || rc=$?
  seconds=$(($(date +%s) - start))
  execs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
  if [ "$rc" -eq 0 ]; then
    result=clean
  else
    result="FAILED (exit $rc, see $log)"
    failed=1
  fi
  printf '%-24s %12s %8s  %s\n' "$name" "${execs:--}" "$seconds" "$result"
done
exit "$failed"
