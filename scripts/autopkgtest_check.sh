#!/usr/bin/env bash
# Tests the package as installed: autopkgtest with the null runner installs the built package onto
# this machine and runs debian/tests (the end-to-end suites against /usr/bin/kpatdmcl and the
# installed X session script, with the test peers of the source tree). It runs without the network:
# in a network namespace of its own that has only the loopback interface. The package is purged
# again afterwards, whatever the outcome; a kpatdmcl that was installed before is left alone and the
# test refuses to run. Installs autopkgtest when it is missing.
#
#   scripts/autopkgtest_check.sh [folder with the packages]     (default: build-deb/<architecture>,
#                                                                built by scripts/package_check.sh)
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/deps.sh
kp_install_deps "${KP_PACKAGE_PACKAGES[@]}" "${KP_AUTOPKGTEST_PACKAGES[@]}" python3 util-linux iproute2

arch=$(dpkg --print-architecture)
debs=${1:-build-deb/$arch}
version=$(dpkg-parsechangelog -l debian/changelog -S Version)
deb=$debs/kpatdmcl_${version}_$arch.deb
[ -f "$deb" ] || { echo "autopkgtest_check: no $deb: run scripts/package_check.sh first" >&2; exit 1; }
if dpkg-query -W -f='${Status}' kpatdmcl 2>/dev/null | grep -q 'ok installed'; then
  echo "autopkgtest_check: kpatdmcl is installed on this machine already; the test would replace it and" \
    "then purge it: remove it first (apt-get purge kpatdmcl)" >&2
  exit 1
fi

work=$(mktemp -d /var/tmp/kpatdmcl-autopkgtest.XXXXXX)
out=build-autopkgtest
rm -rf "$out"
mkdir -p "$out"
purge() {
  if dpkg-query -W -f='${Status}' kpatdmcl 2>/dev/null | grep -q 'installed'; then
    DEBIAN_FRONTEND=noninteractive apt-get purge -y -qq kpatdmcl >/dev/null
  fi
  dpkg-query -W -f='${Status}' kpatdmcl 2>/dev/null | grep -q 'installed' &&
    echo "autopkgtest_check: kpatdmcl could not be purged" >&2
  rm -rf "$work"
}
trap purge EXIT
kp_copy_tree "$work/kpatdmcl"

# The test's dependencies besides the package are installed already (above); offline, apt only
# reads the built package from autopkgtest's own local archive.
rc=0
unshare --net sh -c 'ip link set lo up && exec "$@"' sh \
  autopkgtest --no-built-binaries --output-dir "$out/output" --summary-file "$out/summary" \
  "$deb" "$work/kpatdmcl/" -- null >"$out/log" 2>&1 || rc=$?
grep -E '^(test_|[A-Za-z]+Test|Ran |OK|FAILED)|\.\.\. (ok|skipped|FAIL|ERROR)' "$out/output/installed-agent-stdout" \
  "$out/output/installed-agent-stderr" 2>/dev/null | sed 's/^[^:]*://; s/^/  /' | grep -E 'Ran |OK|FAILED|skipped|FAIL|ERROR' || true
echo "autopkgtest_check: summary:"
sed 's/^/  /' "$out/summary" 2>/dev/null || true
if [ "$rc" -ne 0 ]; then
  tail -n 60 "$out/log" >&2
  echo "autopkgtest_check: autopkgtest exited with $rc (log in $out/log)" >&2
  exit 1
fi
