#!/usr/bin/env bash
# Builds the Debian source and binary packages (dpkg-buildpackage -us -uc) from a copy of the working
# tree (the files git tracks and the new ones it does not ignore, as they are now, so no build folder
# comes along), then checks that the agent's package holds what an installation needs (the agent,
# its manual page, the example configuration, the X session start-up script as a conffile, the
# copyright file and the changelog) and nothing else, that its debug symbols come in their own
# package, that lintian finds no error and no warning in the source and binary packages (the
# .changes), and that the packaged agent is hardened. Installs what it needs when it is missing.
#
#   scripts/package_check.sh [--arch arm64] [out folder]
#
# --arch cross-builds for that Debian architecture (dpkg-buildpackage -a). The packages are left in
# the out folder (default: build-deb/<architecture>), which is emptied first.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/deps.sh

arch=$(dpkg --print-architecture)
if [ "${1:-}" = --arch ]; then
  arch=$2
  shift 2
fi
out=${1:-build-deb/$arch}
fail() { echo "package_check: $*" >&2; exit 1; }

kp_install_deps "${KP_PACKAGE_PACKAGES[@]}"
cross=()
if [ "$arch" != "$(dpkg --print-architecture)" ]; then
  [ "$arch" = arm64 ] || fail "cross-building is set up for arm64 only, not $arch"
  kp_install_cross_deps
  cross=(-a "$arch")
fi

work=$(mktemp -d /var/tmp/kpatdmcl-package.XXXXXX)
trap 'rm -rf "$work"' EXIT
kp_copy_tree "$work/kpatdmcl"

echo "package_check: dpkg-buildpackage -us -uc ${cross[*]} (log in $out/build.log)"
rm -rf "$out"
mkdir -p "$out"
(cd "$work/kpatdmcl" &&
  DEB_BUILD_OPTIONS="parallel=${JOBS:-$(nproc)} ${DEB_BUILD_OPTIONS:-}" dpkg-buildpackage -us -uc "${cross[@]}") \
  >"$out/build.log" 2>&1 || { tail -n 40 "$out/build.log" >&2; fail "dpkg-buildpackage failed"; }
cp "$work"/*.deb "$work"/*.changes "$work"/*.buildinfo "$work"/*.dsc "$work"/*.tar.* "$out"/

version=$(dpkg-parsechangelog -l debian/changelog -S Version)
deb=$out/kpatdmcl_${version}_$arch.deb
dbgsym=$out/kpatdmcl-dbgsym_${version}_$arch.deb
changes=$out/kpatdmcl_${version}_$arch.changes
[ -f "$deb" ] || fail "no $deb"
[ -f "$dbgsym" ] || fail "no debug-symbol package $dbgsym"
[ "$(dpkg-deb -f "$deb" Architecture)" = "$arch" ] || fail "$deb is not for $arch"

# dpkg-deb -c lists "perms owner size date time ./path"; keep the paths without the leading dot.
listing=$(dpkg-deb -c "$deb" | awk '{print $6}' | sed 's/^\.//')
expect() {
  local pattern=$1 what=$2
  grep -qxE "$pattern" <<<"$listing" || { echo "$listing" >&2; fail "$what missing (no path matching $pattern)"; }
}
expect '/usr/bin/kpatdmcl' 'the agent'
expect '/usr/share/man/man1/kpatdmcl\.1\.gz' 'the manual page'
expect '/usr/share/doc/kpatdmcl/examples/client\.prf' 'the example configuration'
expect '/etc/X11/Xsession\.d/90kpatdmcl' 'the X session start-up script'
expect '/usr/share/doc/kpatdmcl/copyright' 'the copyright file'
expect '/usr/share/doc/kpatdmcl/changelog\.gz' 'the changelog'

# Nothing of the build tree or the test peers may leak into the package.
unexpected=$(grep -vE '^/$|/$|^/usr/bin/kpatdmcl$|^/usr/share/man/man1/kpatdmcl\.1\.gz$|^/usr/share/doc/kpatdmcl/(examples/client\.prf|copyright|changelog\.gz)$|^/etc/X11/Xsession\.d/90kpatdmcl$' <<<"$listing" || true)
[ -z "$unexpected" ] || fail "unexpected files in the package: $unexpected"
dpkg-deb -c "$dbgsym" | awk '{print $6}' | grep -qE '^\./usr/lib/debug/\.build-id/../.*\.debug$' ||
  fail "the debug-symbol package holds no separate debug file"

# The agent is executable, the sourced session script is not.
perms() { dpkg-deb -c "$deb" | awk -v p="./$1" '$6 == p {print $1}'; }
[[ $(perms usr/bin/kpatdmcl) == -rwxr-xr-x ]] || fail "usr/bin/kpatdmcl is not 0755"
[[ $(perms etc/X11/Xsession.d/90kpatdmcl) == -rw-r--r-- ]] || fail "the session script is not 0644"

depends=$(dpkg-deb -f "$deb" Depends)
for dep in libx11-6 libxext6; do
  grep -qw "$dep" <<<"$depends" || fail "Depends lacks $dep: $depends"
done
grep -qE 'libstdc\+\+|libgcc' <<<"$depends" && fail "the agent should carry the C++ run-time inside: $depends"
dpkg-deb -I "$deb" conffiles 2>/dev/null | grep -qx '/etc/X11/Xsession.d/90kpatdmcl' ||
  fail "the session script is not a conffile"

# lintian on the .changes, that is the source package and both binary packages: any error or warning
# fails; information tags are shown but pass.
lintian --display-info --fail-on error,warning "$changes" >"$out/lintian.log" 2>&1 ||
  { cat "$out/lintian.log" >&2; fail "lintian reports errors or warnings"; }
grep -v 'running with root privileges' "$out/lintian.log" | sed 's/^/  lintian: /' || true

# Hardening, read from the packaged (stripped) agent itself: a position-independent executable,
# relocations made read-only and bound at start (RELRO + BIND_NOW), stack protection and the
# fortified C library calls (their _chk entry points are imported).
dpkg-deb -x "$deb" "$work/root"
agent=$work/root/usr/bin/kpatdmcl
header=$(readelf -hW "$agent")
segments=$(readelf -lW "$agent")
dynamic=$(readelf -dW "$agent")
symbols=$(readelf --dyn-syms -W "$agent")
harden() { fail "the packaged agent is not hardened: $*"; }
grep -qE 'Type:[[:space:]]+DYN' <<<"$header" || harden "not position-independent (ELF type is not DYN)"
grep -qE '\(FLAGS_1\).*\bPIE\b' <<<"$dynamic" || harden "no PIE flag in the dynamic section"
grep -q 'GNU_RELRO' <<<"$segments" || harden "no GNU_RELRO segment"
grep -qE '\(BIND_NOW\)|\(FLAGS\).*\bBIND_NOW\b|\(FLAGS_1\).*\bNOW\b' <<<"$dynamic" || harden "relocations are not bound at start (no BIND_NOW)"
grep -q '__stack_chk_fail' <<<"$symbols" || harden "no stack protection (__stack_chk_fail not used)"
fortified=$(grep -oE '__[a-z0-9_]+_chk\b' <<<"$symbols" | grep -vx '__stack_chk_fail' | sort -u | tr '\n' ' ' || true)
[ -n "$fortified" ] || harden "no fortified C library calls (no __*_chk imported)"
grep -qE '\(TEXTREL\)' <<<"$dynamic" && harden "text relocations"
grep -qE 'GNU_STACK.* RWE ' <<<"$segments" && harden "executable stack"

echo "package_check: $(basename "$deb") holds bin/kpatdmcl, kpatdmcl(1), the example client.prf, the session script, copyright and changelog; debug symbols in $(basename "$dbgsym")"
echo "package_check: lintian on $(basename "$changes"): 0 errors, 0 warnings"
echo "package_check: hardening: PIE, RELRO, BIND_NOW, stack protector, fortified ($fortified)"
