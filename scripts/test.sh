#!/usr/bin/env bash
# Checks the formatting, then builds and runs everything: the plain suite (after checking that
# every include reaches only declared libraries), a Release build of the agent, the suite again under
# AddressSanitizer + UndefinedBehaviorSanitizer, then every fuzz target briefly.
# On a fresh Debian 12 machine (as root) it first installs what it needs.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/deps.sh
kp_install_deps

JOBS=${JOBS:-$(nproc)}
FUZZ_SECONDS=${FUZZ_SECONDS:-5}

echo "== format"
scripts/format_check.sh

echo "== plain build"
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKPATDMCL_WERROR=ON >/dev/null
scripts/check_deps.py build
cmake --build build -j "$JOBS"
ctest --test-dir build --output-on-failure -j "$JOBS"

echo "== package"
scripts/package_check.sh build

echo "== Release build of the agent (warnings that only -O3 finds)"
cmake -S . -B build-release -G Ninja -DCMAKE_BUILD_TYPE=Release -DKPATDMCL_TESTS=OFF -DKPATDMCL_BENCH=OFF \
  -DKPATDMCL_WERROR=ON >/dev/null
cmake --build build-release -j "$JOBS" --target kpatdmcl

echo "== AddressSanitizer + UndefinedBehaviorSanitizer build"
cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DKPATDMCL_SANITIZE=ON -DKPATDMCL_BENCH=OFF \
  -DKPATDMCL_WERROR=ON >/dev/null
cmake --build build-asan -j "$JOBS"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ctest --test-dir build-asan --output-on-failure -j "$JOBS"

echo "== fuzz targets (${FUZZ_SECONDS}s each)"
CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKPATDMCL_FUZZ=ON \
  -DKPATDMCL_WERROR=ON >/dev/null
cmake --build build-fuzz -j "$JOBS"
shopt -s nullglob
for f in build-fuzz/bin/fuzz_*; do
  name=$(basename "$f")
  corpus=build-fuzz/corpus/$name
  mkdir -p "$corpus"
  seeds=()
  [ -d "fuzz/corpus/$name" ] && seeds=("fuzz/corpus/$name")
  echo "-- $name"
  "$f" -max_total_time="$FUZZ_SECONDS" -print_final_stats=0 "$corpus" "${seeds[@]}" 2>&1 | tail -n 3
  [ "${PIPESTATUS[0]}" -eq 0 ] || { echo "fuzz target $name failed"; exit 1; }
done
echo "== all passed"
