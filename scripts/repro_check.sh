#!/usr/bin/env bash
# Builds the binary packages of one commit twice and checks that they come out byte for byte the
# same, the debug-symbol package included. The two builds differ in what must not matter: the build
# path (two folders of different lengths), the clock (the second runs 400 days ahead under faketime),
# the host name, the umask, the time zone and the locale. The packages' dates come from the
# changelog (dpkg-buildpackage sets SOURCE_DATE_EPOCH from it). When they differ, diffoscope shows
# where. Installs what it needs when it is missing.
#
#   scripts/repro_check.sh [commit]      (default HEAD; uncommitted changes are not part of it)
#
# Prints the SHA-256 sum of every package; exits 0 when every pair is identical, 1 otherwise. The
# two builds' packages and logs stay in build-repro/.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/deps.sh
kp_install_deps "${KP_PACKAGE_PACKAGES[@]}" "${KP_REPRO_PACKAGES[@]}"

commit=$(git rev-parse --verify "${1:-HEAD}^{commit}")
out=build-repro
rm -rf "$out"
mkdir -p "$out/first" "$out/second"
work=$(mktemp -d /var/tmp/kpatdmcl-repro.XXXXXX)
trap 'rm -rf "$work"' EXIT

# build <name> <source folder> <command prefix...>: unpacks the commit there and builds it with the
# prefix (which sets the varying environment) in front of dpkg-buildpackage.
build() {
  local name=$1 dir=$2
  shift 2
  mkdir -p "$dir"
  git archive --format=tar "$commit" | tar -xf - -C "$dir"
  echo "repro_check: $name build in $dir"
  (cd "$dir" && "$@" dpkg-buildpackage -us -uc -b) >"$out/$name/build.log" 2>&1 ||
    { tail -n 40 "$out/$name/build.log" >&2; echo "repro_check: the $name build failed" >&2; exit 1; }
  cp "$(dirname "$dir")"/*.deb "$out/$name/"
}

parallel="parallel=${JOBS:-$(nproc)}"
build first "$work/a/kpatdmcl" \
  env -u LANGUAGE TZ=UTC LC_ALL=C.UTF-8 LANG=C.UTF-8 DEB_BUILD_OPTIONS="$parallel" sh -c 'umask 022 && exec "$@"' sh
# The second build: another host name in its own UTS namespace, a group-writable umask, a time zone
# 14 hours east, the POSIX locale, and the clock 400 days ahead.
build second "$work/a-much-longer-second-build-path/with/more/folders/kpatdmcl" \
  unshare --uts sh -c 'hostname kpatdmcl-repro-second-host && umask 002 && exec "$@"' sh \
  env -u LANGUAGE TZ=Etc/GMT-14 LC_ALL=POSIX LANG=POSIX DEB_BUILD_OPTIONS="$parallel" \
  faketime -f +400d

failed=0
for first in "$out"/first/*.deb; do
  name=$(basename "$first")
  second=$out/second/$name
  echo "  $(sha256sum "$first" | cut -d' ' -f1)  first/$name"
  if [ ! -f "$second" ]; then
    echo "repro_check: the second build made no $name" >&2
    failed=1
    continue
  fi
  echo "  $(sha256sum "$second" | cut -d' ' -f1)  second/$name"
  if cmp -s "$first" "$second"; then
    echo "repro_check: $name identical"
  else
    echo "repro_check: $name differs; diffoscope:"
    diffoscope --text - "$first" "$second" | tee "$out/$name.diffoscope.txt" | head -n 400 || true
    failed=1
  fi
done
[ "$(ls "$out"/second/*.deb | wc -l)" -eq "$(ls "$out"/first/*.deb | wc -l)" ] ||
  { echo "repro_check: the builds made different sets of packages" >&2; failed=1; }
exit "$failed"
