#!/usr/bin/env bash
# Cross-builds everything for arm64 with Debian's tool chain (cmake/toolchain-aarch64-linux-gnu.cmake,
# warnings as errors), runs every unit and end-to-end test under the user-mode emulator qemu-user
# against the build machine's own test peers, lists the tests the emulator made skip with their
# reasons, and then builds and checks the arm64 Debian package (scripts/package_check.sh --arch arm64).
# Installs the tool chain, the emulator and the :arm64 libraries when they are missing.
#
#   scripts/arm64_check.sh [build folder]     (default: build-arm64)
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/deps.sh
kp_install_deps "${KP_AGENT_PACKAGES[@]}" "${KP_TEST_PACKAGES[@]}"
kp_install_cross_deps

build=${1:-build-arm64}
JOBS=${JOBS:-$(nproc)}
cmake -S . -B "$build" -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-aarch64-linux-gnu.cmake \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKPATDMCL_TESTS=ON -DKPATDMCL_BENCH=OFF -DKPATDMCL_WERROR=ON >/dev/null
cmake --build "$build" -j "$JOBS"
readelf -h "$build/bin/kpatdmcl" | grep -q 'Machine:.*AArch64' || { echo "arm64_check: the agent is not an arm64 program" >&2; exit 1; }

rc=0
ctest --test-dir "$build" --output-on-failure -j "$JOBS" -V >"$build/ctest.log" 2>&1 || rc=$?
# ctest -V shows every test's output: the summary, the unit tests that skipped themselves and the
# end-to-end checks the emulator made leave out, each with its reason.
sed -n '/tests passed/,$p' "$build/ctest.log"
echo "arm64_check: skipped under the emulator, with their reasons:"
grep -E '\[  SKIPPED \]|confinement not checked|skipped ' "$build/ctest.log" | grep -vE 'SKIPPED \] [0-9]+ test' |
  sed -E 's/^[0-9]+: //; s/^/  /' | sort -u || true
[ "$rc" -eq 0 ] || { grep -E 'Failed|\*\*\*' "$build/ctest.log" | tail -n 20; echo "arm64_check: tests failed (log in $build/ctest.log)" >&2; exit 1; }

scripts/package_check.sh --arch arm64
