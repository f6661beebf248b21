#!/usr/bin/env bash
# Shows the agent at work on the bundled defaults: a test X display that announces client drives and
# a simulated file-server control program. Installs what it needs, builds the agent, then plays a
# short session: two drives on one client host and one on another are mapped, one is withdrawn, and
# the display goes away. Runs as the current user, who owns the shares. Each step says in one
# sentence what an administrator would see on a real server. Leaves no process behind.
set -euo pipefail
cd "$(dirname "$0")/.."
ROOT=$PWD
. scripts/deps.sh
kp_install_deps "${KP_AGENT_PACKAGES[@]}"

# A build folder of its own, without tests and benchmarks: their libraries are not needed here, and
# the folder scripts/test.sh and a hand build use keeps its own settings.
cmake -S . -B build-demo -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKPATDMCL_TESTS=OFF -DKPATDMCL_BENCH=OFF >/dev/null
cmake --build build-demo --target kpatdmcl -j "$(nproc)" >/dev/null

WORK=$(mktemp -d /tmp/kpatdmcl-demo.XXXXXX)
PIDS=()
cleanup() {
  for p in "${PIDS[@]}"; do kill "$p" 2>/dev/null || true; done
  wait 2>/dev/null || true
  rm -rf "$WORK"
}
trap cleanup EXIT

# Bold headings only on a terminal: a file or a pipe gets plain text.
if [ -t 1 ]; then BOLD=$'\033[1m' PLAIN=$'\033[0m'; else BOLD='' PLAIN=''; fi
step() { printf '\n%s== %s%s\n' "$BOLD" "$*" "$PLAIN"; }
say() { echo "$*" | fmt -w 100; }
ME=$(id -un)
MOUNT=/srv/quillafs
show_link() {
  local link="$WORK/home/My WEX Drives"
  if [ -L "$link" ]; then echo "home link: My WEX Drives -> $(readlink "$link")"; else echo "home link: (none)"; fi
}
X() { python3 "$ROOT/tools/xtestserver/control.py" "$WORK/x.sock" "$@" >/dev/null; }
fs_state() {
  python3 - "$WORK/fs.sock" <<'EOF'
import json, socket, sys
s = socket.socket(socket.AF_UNIX)
s.connect(sys.argv[1])
s.sendall(b'{"cmd": "state"}\n')
data = b""
while not data.endswith(b"\n"):
    data += s.recv(65536)
state = json.loads(data)
for user, keys in state["config"].items():
    for key, values in keys.items():
        print("  [%s={%s}]" % (key, "".join("(%s)" % v for v in values)))
print("  registered displays:", state["displays"], " unregistered:", state["unregistered"])
EOF
}
SHOWN=0
wait_agent_lines() {  # waits until the agent has printed $1 lines (at most 5 s), then shows the new ones
  for _ in $(seq 50); do [ "$(wc -l < "$WORK/agent.out")" -ge "$1" ] && break; sleep 0.1; done
  tail -n +"$((SHOWN + 1))" "$WORK/agent.out" | sed 's/^/  kpatdmcl: /'
  SHOWN=$(wc -l < "$WORK/agent.out")
}

step "starting the test display server and the file-server simulator"
mkdir -p "$WORK/home"
python3 tools/xtestserver/xtestserver.py --display auto --control "$WORK/x.sock" --watch-parent \
  > "$WORK/x.out" 2> "$WORK/x.err" &
PIDS+=($!)
python3 tools/fssim/fssim.py --port-file "$WORK/port" --control "$WORK/fs.sock" --record "$WORK/fs.rec" \
  > "$WORK/fs.out" 2> "$WORK/fs.err" &
PIDS+=($!)
for _ in $(seq 100); do [ -s "$WORK/x.out" ] && [ -s "$WORK/port" ] && break; sleep 0.1; done
DISPLAY_NAME=$(awk '/^READY/ {print $2}' "$WORK/x.out")
PORT=$(cat "$WORK/port")
echo "display $DISPLAY_NAME, control program on udp port $PORT"
say "On a real server these are the user's X session (whose X server offers the XKPDEV extension) and the file server's control program; here both are test programs on this machine, and nothing outside $WORK is touched. The agent runs as you ($ME): the shares belong to that account."

step "server configuration ($WORK/client.prf)"
cat > "$WORK/client.prf" <<EOF
# Where the file server's control program listens.
[nfsserver/mount/realserver={(127.0.0.1)}]
[nfsserver/mount/port={($PORT)}]
# Seconds to wait for each control reply.
[nfsserver/client/timeout={(5)}]
# The file server shows each user's drives under this directory.
[nfsserver/mount/mountpoint={($MOUNT)}]
# The link goes into the session's home directory; \$HOME is replaced from the environment.
[nfsserver/user/symlinkdir={(\$HOME)}]
EOF
cat "$WORK/client.prf"
say "On a real server this file is /opt/kpa_tem/etc/client.prf, written once by the administrator for every session."

step "running kpatdmcl --dmpdisplay $DISPLAY_NAME (HOME=$WORK/home)"
HOME="$WORK/home" build-demo/bin/kpatdmcl --dmpdisplay "$DISPLAY_NAME" --servercfg "$WORK/client.prf" \
  > "$WORK/agent.out" 2> "$WORK/agent.err" &
AGENT=$!
PIDS+=($AGENT)
X wait_init
X send_init
show_link
say "The agent has registered display $DISPLAY_NAME for $ME with the file server and waits for the client's drives; there is no link yet."

# User names and passwords travel Base64-encoded: "alice" / "secret".
step "client pc1 announces drive C"
X add_device '{"device_id": 1, "uri": "smb://PC1/C", "user": "YWxpY2U=", "password": "c2VjcmV0"}'
wait_agent_lines 2; show_link
say "The file server now offers drive C of client pc1 to $ME. \"User directory created at $MOUNT/$ME\" names a directory on the file server, not here; the link in $ME's home points at $MOUNT/$ME/pc1, where a real file server presents pc1's drives."
step "client pc1 announces drive D"
X add_device '{"device_id": 2, "uri": "smb://pc1/D", "user": "YWxpY2U=", "password": "c2VjcmV0"}'
wait_agent_lines 4
say "A second drive of the same host: one more share under pc1, the link is unchanged."
step "client laptop7 announces drive E"
X add_device '{"device_id": 3, "uri": "smb://laptop7/E", "user": "Ym9i", "password": "aHVudGVyMg=="}'
wait_agent_lines 6; show_link
echo "file server configuration now:"; fs_state
say "A second client host: its drives appear beside the first host's, in $MOUNT/$ME/laptop7; the link keeps pointing at pc1, the first host. Every share belongs to $ME; winname is the login name on the client (alice, bob), and password is the client's password enciphered for the file server under a key made from $ME's name and this build's mask (KPATDMCL_PASSWORD_MASK), which the file server must share."

step "client pc1 withdraws drive C"
X remove_device '{"device_id": 1}'
wait_agent_lines 8; show_link
echo "file server configuration now:"; fs_state
say "The file server no longer offers pc1's drive C (its values are now empty); drive D and the link stay."

step "the display goes away"
X close_client
for _ in $(seq 100); do kill -0 "$AGENT" 2>/dev/null || break; sleep 0.1; done
set +e; wait "$AGENT"; RC=$?; set -e
wait_agent_lines 11
echo "kpatdmcl ended with exit code $RC"
show_link
echo "file server configuration now:"; fs_state
say "The session is over: the agent withdrew every share, unregistered $ME, ended $ME's file-server sessions with every client host and removed the link; exit code 0 is a normal end."
if [ -s "$WORK/agent.err" ]; then echo "-- kpatdmcl standard error:"; cat "$WORK/agent.err"; fi
exit 0
