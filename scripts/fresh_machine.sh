#!/usr/bin/env bash
# Tries the README's set-up as a new administrator would, on a pristine machine: builds a minimal
# Debian system of the given release with debootstrap, installs git in it, clones this repository's
# HEAD commit (uncommitted changes are not part of it), runs scripts/demo.sh and then scripts/test.sh
# in it as root, and prints each command's exit status and time and the test stages' results.
# Packages come from the Debian mirror this machine's apt already uses. Needs root, debootstrap and
# the network, and about 15 minutes or more; scripts/test.sh does not run it.
#
#   scripts/fresh_machine.sh [release...]        (default: bookworm, then trixie)
#   scripts/fresh_machine.sh <release> <folder>
#
# release: a Debian code name (bookworm, trixie); several are tried one after the other, each on a
# system of its own. folder: where the system is built; it must not exist yet (default: a new
# /var/tmp/kpatdmcl-fresh-<release>.XXXXXX). The folder is removed at the end unless KEEP=1; the
# full output of both commands is kept beside it in <folder>.log/.
# Exit status: 0 when both commands ended with 0 (on every release), 1 when one did not, 2 when a
# machine could not be set up.
set -euo pipefail

usage() { echo "usage: $0 [release...] | $0 <release> <folder>" >&2; exit 2; }
if [ $# -eq 0 ] || { [ $# -ge 2 ] && [[ $2 =~ ^[a-z]+$ ]]; }; then
  [ $# -gt 0 ] || set -- bookworm trixie
  worst=0
  for release in "$@"; do
    rc=0
    "$0" "$release" || rc=$?
    [ "$rc" -le "$worst" ] || worst=$rc
  done
  exit "$worst"
fi
[ $# -ge 1 ] && [ $# -le 2 ] || usage
release=$1
[[ $release =~ ^[a-z]+$ ]] || usage
[ "$(id -u)" -eq 0 ] || { echo "fresh_machine: must run as root (debootstrap, chroot, mounts)" >&2; exit 2; }
command -v debootstrap >/dev/null || { echo "fresh_machine: debootstrap is missing (apt-get install debootstrap)" >&2; exit 2; }

repo=$(cd "$(dirname "$0")/.." && pwd)
commit=$(git -C "$repo" rev-parse HEAD)
gitdir=$(cd "$repo" && cd "$(git rev-parse --git-common-dir)" && pwd)

# The mirror: the first Debian archive apt reads here for the host's own release (one-line .list
# entries and deb822 .sources files alike), and the security archive beside it when there is one.
host_release=$(. /etc/os-release && echo "${VERSION_CODENAME:-}")
[ -n "$host_release" ] || { echo "fresh_machine: cannot tell this machine's release from /etc/os-release" >&2; exit 2; }
apt_entries() {  # prints "uri suite" for every enabled deb entry
  local f
  for f in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
    [ -f "$f" ] || continue
    sed -e 's/#.*//' -e 's/\[[^]]*\]//' "$f" | awk '$1 == "deb" && NF >= 3 {print $2, $3}'
  done
  for f in /etc/apt/sources.list.d/*.sources; do
    [ -f "$f" ] || continue
    # deb822 stanzas: blank lines separate them; Types, URIs and Suites may list several values.
    awk 'function flush() { if (types ~ /(^| )deb( |$)/ && enabled != "no") { n = split(uris, u, " "); m = split(suites, s, " ");
                            for (i = 1; i <= n; i++) for (j = 1; j <= m; j++) print u[i], s[j] }
                          types = uris = suites = ""; enabled = "" }
         /^[[:space:]]*#/ { next }
         /^[[:space:]]*$/ { flush(); next }
         { key = tolower($1); sub(/^[^:]*:[[:space:]]*/, "");
           if (key == "types:") types = $0; else if (key == "uris:") uris = $0;
           else if (key == "suites:") suites = $0; else if (key == "enabled:") enabled = tolower($0) }
         END { flush() }' "$f"
  done
}
mirror=$(apt_entries | awk -v r="$host_release" '$2 == r {print $1; exit}')
security=$(apt_entries | awk -v r="$host_release-security" '$2 == r {print $1; exit}')
[ -n "$mirror" ] || { echo "fresh_machine: apt has no entry for $host_release to take the mirror from" >&2; exit 2; }
mirror=${mirror%/}
security=${security%/}

if [ $# -eq 2 ]; then
  root=$2
  [ ! -e "$root" ] || { echo "fresh_machine: $root exists already" >&2; exit 2; }
  mkdir -p "$root"
else
  root=$(mktemp -d "/var/tmp/kpatdmcl-fresh-$release.XXXXXX")
fi
# It becomes the system's "/", which every account must be able to search (mktemp makes it 0700).
chmod 755 "$root"
root=$(cd "$root" && pwd)
logs=$root.log
mkdir -p "$logs"

# Every mount below is recorded and undone in reverse order on the way out, also after an error or
# an interrupt. The system's folder is removed only when nothing is mounted under it any more.
mounts=()
mount_at() {  # mount_at <target> <mount arguments...>
  local target=$1
  shift
  mount "$@" "$target"
  mounts+=("$target")
}
cleanup() {
  local i pid
  # Whatever the commands left running in the system (a display server, a test peer) is ended first.
  for pid in /proc/[0-9]*; do
    [ "$(readlink "$pid/root" 2>/dev/null)" = "$root" ] && kill -KILL "${pid#/proc/}" 2>/dev/null || true
  done
  for ((i = ${#mounts[@]} - 1; i >= 0; i--)); do
    umount "${mounts[$i]}" 2>/dev/null || umount -l "${mounts[$i]}" ||
      echo "fresh_machine: could not unmount ${mounts[$i]}" >&2
  done
  if findmnt -rn -o TARGET | grep -q "^$root/"; then
    echo "fresh_machine: something is still mounted under $root; left in place" >&2
  elif [ "${KEEP:-0}" = 1 ]; then
    echo "fresh_machine: the system stays in $root (KEEP=1)"
  else
    rm -rf --one-file-system "$root"
  fi
}
trap cleanup EXIT
trap 'exit 130' INT TERM

echo "== debootstrap $release from $mirror into $root"
start=$SECONDS
debootstrap --variant=minbase "$release" "$root" "$mirror" >"$logs/debootstrap.log" 2>&1 ||
  { tail -n 20 "$logs/debootstrap.log" >&2; echo "fresh_machine: debootstrap failed" >&2; exit 2; }
echo "   $((SECONDS - start)) s"

{
  echo "deb $mirror $release main"
  echo "deb $mirror $release-updates main"
  [ -z "$security" ] || echo "deb $security $release-security main"
} >"$root/etc/apt/sources.list"
cp -L /etc/resolv.conf "$root/etc/resolv.conf"

# /proc, /sys and the devices for the tests: /dev/pts for terminals, /dev/shm for the display
# server and the sanitizers. The device folder is this machine's, made private so that the mounts
# inside it stay inside the system.
mount_at "$root/proc" -t proc proc
mount_at "$root/sys" -t sysfs sysfs
mount_at "$root/dev" --bind /dev
mount --make-private "$root/dev"
mount_at "$root/dev/pts" --bind /dev/pts
mount_at "$root/dev/shm" -t tmpfs -o mode=1777,nosuid,nodev shm
# The repository's history, read-only: the clone inside takes the commit from there.
mkdir -p "$root/srv/kpatdmcl.git"
mount_at "$root/srv/kpatdmcl.git" --bind "$gitdir"
mount -o remount,bind,ro "$root/srv/kpatdmcl.git"

# inside <log name> <shell command>: runs the command as root in a login-like environment, its
# output shown and kept in the log; its status is the command's (pipefail). It runs in the background
# and is waited for, so that an interrupt reaches the clean-up at once instead of after the command.
inside() {
  local name=$1
  shift
  chroot "$root" /usr/bin/env -i HOME=/root USER=root LOGNAME=root SHELL=/bin/bash TERM=dumb \
    PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
    /bin/bash -c "$*" 2>&1 | tee "$logs/$name.log" &
  wait $!
}

echo "== apt-get install -y git, and a clone of $commit"
inside setup "set -e; apt-get update -qq; DEBIAN_FRONTEND=noninteractive apt-get install -y -qq git >/dev/null
  git -c safe.directory='*' clone -q --no-checkout file:///srv/kpatdmcl.git /root/kpatdmcl
  git -C /root/kpatdmcl checkout -q --detach $commit" ||
  { echo "fresh_machine: could not install git or clone the repository" >&2; exit 2; }

names=("scripts/demo.sh" "scripts/test.sh")
codes=()
times=()
for cmd in "${names[@]}"; do
  name=$(basename "$cmd" .sh)
  echo "== cd kpatdmcl && $cmd"
  start=$SECONDS
  rc=0
  inside "$name" "cd /root/kpatdmcl && $cmd" || rc=$?
  codes+=("$rc")
  times+=("$((SECONDS - start))")
done

echo
echo "== $release: versions"
inside versions "dpkg-query -W -f '  \${Package} \${Version}\n' libc6 g++ clang-19 clang-format-19 cmake python3 \
  libgtest-dev lintian debhelper autopkgtest g++-aarch64-linux-gnu qemu-user 2>/dev/null" || true
echo "== $release: results (full output in $logs)"
failed=0
for i in "${!names[@]}"; do
  printf '  %-20s exit %-3s %6s s\n' "${names[$i]}" "${codes[$i]}" "${times[$i]}"
  [ "${codes[$i]}" -eq 0 ] || failed=1
done
echo "  test stages:"
sed -n '/^== stages$/,/^== \(all passed\|some stages failed\)$/p' "$logs/test.log" | sed '1d; s/^/  /'
exit "$failed"
