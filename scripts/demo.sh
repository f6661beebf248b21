#!/usr/bin/env bash
# Shows the agent at work on the bundled defaults: a test X display that announces client drives and
# a simulated file-server control program. Installs what it needs, builds the agent, then plays a
# short session: two drives on one client host and one on another are mapped, one is withdrawn, and
# the display goes away. Leaves no process behind.
set -euo pipefail
cd "$(dirname "$0")/.."
ROOT=$PWD
. scripts/deps.sh
kp_install_deps

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build --target kpatdmcl -j "$(nproc)" >/dev/null

WORK=$(mktemp -d /tmp/kpatdmcl-demo.XXXXXX)
PIDS=()
cleanup() {
  for p in "${PIDS[@]}"; do kill "$p" 2>/dev/null || true; done
  wait 2>/dev/null || true
  rm -rf "$WORK"
}
trap cleanup EXIT

step() { printf '\n\033[1m== %s\033[0m\n' "$*"; }
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

step "server configuration ($WORK/client.prf)"
cat > "$WORK/client.prf" <<EOF
# Where the file server's control program listens.
[nfsserver/mount/realserver={(127.0.0.1)}]
[nfsserver/mount/port={($PORT)}]
# Seconds to wait for each control reply.
[nfsserver/client/timeout={(5)}]
# The file server shows each user's drives under this directory.
[nfsserver/mount/mountpoint={(/srv/quillafs)}]
# The link goes into the session's home directory; \$HOME is replaced from the environment.
[nfsserver/user/symlinkdir={(\$HOME)}]
EOF
cat "$WORK/client.prf"

step "running kpatdmcl --dmpdisplay $DISPLAY_NAME (HOME=$WORK/home)"
HOME="$WORK/home" build/bin/kpatdmcl --dmpdisplay "$DISPLAY_NAME" --servercfg "$WORK/client.prf" \
  > "$WORK/agent.out" 2> "$WORK/agent.err" &
AGENT=$!
PIDS+=($AGENT)
X wait_init
X send_init
show_link

# User names and passwords travel Base64-encoded: "alice" / "secret".
step "client pc1 announces drive C"
X add_device '{"device_id": 1, "uri": "smb://PC1/C", "user": "YWxpY2U=", "password": "c2VjcmV0"}'
wait_agent_lines 2; show_link
step "client pc1 announces drive D"
X add_device '{"device_id": 2, "uri": "smb://pc1/D", "user": "YWxpY2U=", "password": "c2VjcmV0"}'
wait_agent_lines 4
step "client laptop7 announces drive E"
X add_device '{"device_id": 3, "uri": "smb://laptop7/E", "user": "Ym9i", "password": "aHVudGVyMg=="}'
wait_agent_lines 6; show_link
echo "file server configuration now:"; fs_state

step "client pc1 withdraws drive C"
X remove_device '{"device_id": 1}'
wait_agent_lines 8; show_link
echo "file server configuration now:"; fs_state

step "the display goes away"
X close_client
for _ in $(seq 100); do kill -0 "$AGENT" 2>/dev/null || break; sleep 0.1; done
set +e; wait "$AGENT"; RC=$?; set -e
wait_agent_lines 11
echo "kpatdmcl ended with exit code $RC"
show_link
echo "file server configuration now:"; fs_state
if [ -s "$WORK/agent.err" ]; then echo "-- kpatdmcl standard error:"; cat "$WORK/agent.err"; fi
exit 0
