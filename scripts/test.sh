#!/usr/bin/env bash
# Checks the formatting and that the map of the code (docs/architecture.md) names only what the tree
# has, then builds and runs everything: the plain suite (after checking that every include reaches
# only declared libraries), clang-tidy over the sources, the Debian package with lintian, the
# package's reproducibility, the installed package's end-to-end tests (autopkgtest), a Release build
# of the agent, the suite again under AddressSanitizer + UndefinedBehaviorSanitizer, every fuzz
# target briefly, and the arm64 cross-build with every test under the emulator and its package.
# On a fresh Debian 12 or 13 machine (as root) it first installs what it needs.
# Every stage runs even when an earlier one fails; the end lists each stage with its result and its
# time, and the script fails when any stage did.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/deps.sh
kp_install_deps "${KP_AGENT_PACKAGES[@]}" "${KP_TEST_PACKAGES[@]}" "${KP_PACKAGE_PACKAGES[@]}" \
  "${KP_REPRO_PACKAGES[@]}" "${KP_AUTOPKGTEST_PACKAGES[@]}"
kp_install_cross_deps

JOBS=${JOBS:-$(nproc)}
FUZZ_SECONDS=${FUZZ_SECONDS:-5}

STAGES=()
RESULTS=()
TIMES=()
# stage <name> <function>: runs the function in a subshell with -e, so that its first failing
# command ends the stage and not the script. The subshell's status is read from $? rather than
# tested with || or if, because bash ignores -e inside a tested command.
stage() {
  local name=$1 rc start=$SECONDS
  shift
  echo "== $name"
  set +e
  (
    set -e
    "$@"
  )
  rc=$?
  set -e
  STAGES+=("$name")
  TIMES+=("$((SECONDS - start)) s")
  if [ "$rc" -eq 0 ]; then RESULTS+=(PASS); else RESULTS+=("FAIL (exit $rc)"); fi
}

format() {
  scripts/format_check.sh
}

map() {
  scripts/check_map.py
}

plain() {
  cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKPATDMCL_TESTS=ON -DKPATDMCL_BENCH=ON \
    -DKPATDMCL_WERROR=ON >/dev/null
  scripts/check_deps.py build
  cmake --build build -j "$JOBS"
  ctest --test-dir build --output-on-failure -j "$JOBS"
}

# The checks of .clang-tidy over the libraries' and the agent's sources, with the plain build's compile
# commands; any finding fails the stage.
tidy() {
  [ -f build/compile_commands.json ] || cmake -S . -B build -DCMAKE_EXPORT_COMPILE_COMMANDS=ON >/dev/null
  git ls-files 'foundation/*.cpp' 'framework/*.cpp' 'net/*.cpp' 'rpc/*.cpp' 'common/*.cpp' 'dmp/*.cpp' 'app/*.cpp' |
    xargs run-clang-tidy-$KP_CLANG_VERSION -quiet -j "$JOBS" -p build
}

package() {
  JOBS=$JOBS scripts/package_check.sh
}

repro() {
  JOBS=$JOBS scripts/repro_check.sh HEAD
}

installed() {
  scripts/autopkgtest_check.sh
}

arm64() {
  JOBS=$JOBS scripts/arm64_check.sh
}

# Warnings that only -O3 finds, in the libraries and the agent (the tests are built by the other stages).
release() {
  cmake -S . -B build-release -G Ninja -DCMAKE_BUILD_TYPE=Release -DKPATDMCL_TESTS=OFF -DKPATDMCL_BENCH=OFF \
    -DKPATDMCL_WERROR=ON >/dev/null
  cmake --build build-release -j "$JOBS" --target kpatdmcl
}

sanitizers() {
  cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DKPATDMCL_SANITIZE=ON -DKPATDMCL_TESTS=ON \
    -DKPATDMCL_BENCH=OFF -DKPATDMCL_WERROR=ON >/dev/null
  cmake --build build-asan -j "$JOBS"
  ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    ctest --test-dir build-asan --output-on-failure -j "$JOBS"
}

# One line per target: executions, seconds and the result. A target that fails shows its own
# report (from the sanitizer's or libFuzzer's first "==<pid>==" line on) and fails the stage.
fuzz() {
  CC=clang-$KP_CLANG_VERSION CXX=clang++-$KP_CLANG_VERSION cmake -S . -B build-fuzz -G Ninja \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKPATDMCL_FUZZ=ON -DKPATDMCL_WERROR=ON >/dev/null
  cmake --build build-fuzz -j "$JOBS"
  shopt -s nullglob
  local f name corpus seeds log rc start execs report failed=0
  mkdir -p build-fuzz/logs build-fuzz/artifacts
  printf '  %-28s %12s %8s  %s\n' target executions seconds result
  for f in build-fuzz/bin/fuzz_*; do
    name=$(basename "$f")
    corpus=build-fuzz/corpus/$name
    log=build-fuzz/logs/$name.log
    mkdir -p "$corpus"
    seeds=()
    [ -d "fuzz/corpus/$name" ] && seeds=("fuzz/corpus/$name")
    start=$SECONDS
    rc=0
    "$f" -max_total_time="$FUZZ_SECONDS" -print_final_stats=1 -artifact_prefix="build-fuzz/artifacts/$name-" \
      "$corpus" "${seeds[@]}" >"$log" 2>&1 || rc=$?
    execs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
    if [ "$rc" -eq 0 ]; then
      printf '  %-28s %12s %8s  %s\n' "$name" "${execs:--}" "$((SECONDS - start))" clean
    else
      printf '  %-28s %12s %8s  %s\n' "$name" "${execs:--}" "$((SECONDS - start))" "FAILED (exit $rc, log $log)"
      report=$(sed -n '/^==[0-9]*==/,$p' "$log")
      [ -n "$report" ] || report=$(tail -n 50 "$log")
      echo "$report" | sed 's/^/    /'
      failed=1
    fi
  done
  return "$failed"
}

stage "format check" format
stage "map check (docs/architecture.md)" map
stage "dependency check, plain build and tests" plain
stage "clang-tidy" tidy
stage "Debian package (source and binary, lintian)" package
stage "reproducible package (two builds of HEAD, cmp)" repro
stage "installed package (autopkgtest, null runner)" installed
stage "Release build of the agent" release
stage "AddressSanitizer + UndefinedBehaviorSanitizer build and tests" sanitizers
stage "fuzz targets (${FUZZ_SECONDS}s each)" fuzz
stage "arm64 cross-build, tests under qemu-user, package" arm64

echo "== stages"
failed=0
for i in "${!STAGES[@]}"; do
  printf '  %-64s %-16s %8s\n' "${STAGES[$i]}" "${RESULTS[$i]}" "${TIMES[$i]}"
  [ "${RESULTS[$i]}" = PASS ] || failed=1
done
[ "$failed" -eq 0 ] && echo "== all passed" || echo "== some stages failed"
exit "$failed"
