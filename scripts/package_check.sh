#!/usr/bin/env bash
# Builds the Debian package from an already built tree and checks that it holds what an
# installation needs: the agent, its manual page, the example configuration, the X session
# start-up script, the copyright file and the changelog, with the package's dependencies declared;
# that lintian finds no error and no warning in it; and that the packaged agent is hardened.
# Installs lintian when it is missing.
# Usage: scripts/package_check.sh [build folder]     (default: build)
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/deps.sh
kp_install_deps lintian binutils

build=${1:-build}
fail() { echo "package_check: $*" >&2; exit 1; }

[ -f "$build/CPackConfig.cmake" ] || fail "$build is not a configured build folder (no CPackConfig.cmake)"
[ -x "$build/bin/kpatdmcl" ] || fail "$build/bin/kpatdmcl is not built"
command -v dpkg-deb >/dev/null || fail "dpkg-deb is missing"

out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

cpack --config "$build/CPackConfig.cmake" -G DEB -B "$out" >"$out/cpack.log" 2>&1 ||
  { cat "$out/cpack.log" >&2; fail "cpack failed"; }
debs=("$out"/*.deb)
[ -f "${debs[0]}" ] || { cat "$out/cpack.log" >&2; fail "cpack made no .deb"; }
[ ${#debs[@]} -eq 1 ] || fail "expected one .deb, got ${#debs[@]}"
deb=${debs[0]}

# dpkg-deb -c lists "perms owner size date time ./path"; keep the paths without the leading dot.
listing=$(dpkg-deb -c "$deb" | awk '{print $6}' | sed 's/^\.//')

expect() {
  local pattern=$1 what=$2
  grep -qxE "$pattern" <<<"$listing" || { echo "$listing" >&2; fail "$what missing (no path matching $pattern)"; }
}
expect '/usr/bin/kpatdmcl' 'the agent'
expect '/usr/share/man/man1/kpatdmcl\.1(\.gz)?' 'the manual page'
expect '/usr/share/doc/kpatdmcl/examples/client\.prf' 'the example configuration'
expect '/etc/X11/Xsession\.d/90kpatdmcl' 'the X session start-up script'
expect '/usr/share/doc/kpatdmcl/copyright' 'the copyright file'
expect '/usr/share/doc/kpatdmcl/changelog\.gz' 'the changelog'

# Nothing of the build tree or the test peers may leak into the package.
unexpected=$(grep -vE '^/$|/$|^/usr/bin/kpatdmcl$|^/usr/share/man/man1/kpatdmcl\.1(\.gz)?$|^/usr/share/doc/kpatdmcl/(examples/client\.prf|copyright|changelog\.gz)$|^/etc/X11/Xsession\.d/90kpatdmcl$' <<<"$listing" || true)
[ -z "$unexpected" ] || fail "unexpected files in the package: $unexpected"

# The agent is executable, the sourced session script is not.
perms() { dpkg-deb -c "$deb" | awk -v p="./$1" '$6 == p {print $1}'; }
[[ $(perms usr/bin/kpatdmcl) == -rwxr-xr-x ]] || fail "usr/bin/kpatdmcl is not 0755"
[[ $(perms etc/X11/Xsession.d/90kpatdmcl) == -rw-r--r-- ]] || fail "the session script is not 0644"

depends=$(dpkg-deb -f "$deb" Depends)
for dep in libx11-6 libxext6; do
  grep -qw "$dep" <<<"$depends" || fail "Depends lacks $dep: $depends"
done
dpkg-deb -I "$deb" conffiles 2>/dev/null | grep -qx '/etc/X11/Xsession.d/90kpatdmcl' ||
  fail "the session script is not a conffile"

# lintian: any error or warning fails; information and overridden tags are shown but pass.
# Overrides shipped in the package are honoured, each with its reason beside it.
lintian --display-info --fail-on error,warning "$deb" >"$out/lintian.log" 2>&1 ||
  { cat "$out/lintian.log" >&2; fail "lintian reports errors or warnings"; }
[ -s "$out/lintian.log" ] && sed 's/^/  lintian: /' "$out/lintian.log"

# Hardening, read from the packaged (stripped) agent itself: a position-independent executable,
# relocations made read-only and bound at start (RELRO + BIND_NOW), stack protection and the
# fortified C library calls (their _chk entry points are imported).
dpkg-deb -x "$deb" "$out/root"
agent=$out/root/usr/bin/kpatdmcl
header=$(readelf -hW "$agent")
segments=$(readelf -lW "$agent")
dynamic=$(readelf -dW "$agent")
symbols=$(readelf --dyn-syms -W "$agent")
harden() { echo "package_check: the packaged agent is not hardened: $*" >&2; exit 1; }
grep -qE 'Type:[[:space:]]+DYN' <<<"$header" || harden "not position-independent (ELF type is not DYN)"
grep -qE '\(FLAGS_1\).*\bPIE\b' <<<"$dynamic" || harden "no PIE flag in the dynamic section"
grep -q 'GNU_RELRO' <<<"$segments" || harden "no GNU_RELRO segment"
grep -qE '\(BIND_NOW\)|\(FLAGS\).*\bBIND_NOW\b|\(FLAGS_1\).*\bNOW\b' <<<"$dynamic" || harden "relocations are not bound at start (no BIND_NOW)"
grep -q '__stack_chk_fail' <<<"$symbols" || harden "no stack protection (__stack_chk_fail not used)"
fortified=$(grep -oE '__[a-z0-9_]+_chk\b' <<<"$symbols" | grep -vx '__stack_chk_fail' | sort -u | tr '\n' ' ' || true)
[ -n "$fortified" ] || harden "no fortified C library calls (no __*_chk imported)"
grep -qE '\(TEXTREL\)' <<<"$dynamic" && harden "text relocations"
grep -qE 'GNU_STACK.* RWE ' <<<"$segments" && harden "executable stack"

echo "package_check: $(basename "$deb") holds bin/kpatdmcl, kpatdmcl(1), the example client.prf, the session script, copyright and changelog"
echo "package_check: lintian: 0 errors, 0 warnings"
echo "package_check: hardening: PIE, RELRO, BIND_NOW, stack protector, fortified ($fortified)"
