#!/usr/bin/env bash
# Builds the Debian package from an already built tree and checks that it holds what an
# installation needs: the agent, its manual page, the example configuration and the X session
# start-up script, with the package's dependencies declared.
# Usage: scripts/package_check.sh [build folder]     (default: build)
set -euo pipefail
cd "$(dirname "$0")/.."

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

# Nothing of the build tree or the test peers may leak into the package.
unexpected=$(grep -vE '^/$|/$|^/usr/bin/kpatdmcl$|^/usr/share/man/man1/kpatdmcl\.1(\.gz)?$|^/usr/share/doc/kpatdmcl/examples/client\.prf$|^/etc/X11/Xsession\.d/90kpatdmcl$' <<<"$listing" || true)
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

echo "package_check: $(basename "$deb") holds bin/kpatdmcl, kpatdmcl(1), the example client.prf and the session script"
