#!/usr/bin/env python3
"""A storm at the file server: many sessions start together and announce their drives at once.

Starts one test display server process serving N displays (tools/xtestserver --displays N) and one
file-server control simulator (tools/fssim) that spends --work seconds on every call and keeps the
kernel's default receive buffer, then N agents at once. Every agent that registers its display is
sent its init message and D drives, all of them within about a second; once every drive is
configured (or nothing has reached the simulator for the time-out and 10 s), every display closes
and the agents withdraw what they configured. The drives go out as fast as the display server's
control socket takes them (600 in about 2 s on a loaded 2-CPU machine). Prints:

  datagrams the kernel dropped   the drops column of /proc/net/udp for the simulator's socket
  sessions registered            agents that opened their display (their registration was answered)
  drives configured              share entries holding a value at the simulator before the closes
  calls received                 per procedure, and how many of them repeated a call the simulator
                                 had already received (same sender and transaction identifier; a
                                 copy whose earlier copies the kernel dropped counts as the first)
  exit statuses                  of every agent
  left configured                share entries still holding a value, and displays still
                                 registered, after every agent has ended

Goal, printed as met or not: every session registered, every drive configured, nothing left
configured, and the calls received at most 1.5 x the calls needed (D + 4 per session: the
registration, one per drive, and the clean-up's configuration, unregistration and flush).

Usage: bench/storm/bench_storm.py [--agent build/bin/kpatdmcl] [--sessions 300] [--drives 2]
                                  [--work 0.010] [--timeout 30] [--keep]
"""

import argparse
import base64
import collections
import json
import os
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "agent"))
import bench_agent as ba  # noqa: E402

PROCS = {101: "flush", 102: "set config", 105: "register", 106: "unregister"}


def udp_drops(port):
    """The drops column of /proc/net/udp for the socket bound to 127.0.0.1:port."""
    local = "0100007F:%04X" % port
    with open("/proc/net/udp") as f:
        for line in f.readlines()[1:]:
            fields = line.split()
            if fields[1] == local:
                return int(fields[-1])
    raise ba.BenchError("no UDP socket on port %d in /proc/net/udp" % port)


class Storm(ba.Bench):
    def __init__(self, args):
        super().__init__(args)
        self.n = args.sessions

    def start_peers(self):
        xs = self.spawn([sys.executable, ba.XTESTSERVER, "--display", "auto", "--displays", str(self.n),
                         "--control", os.path.join(self.tmp, "x.sock"), "--watch-parent"])
        ready = ba.read_line(xs.stdout, "the display server", 60).split()
        if len(ready) != 3 or ready[0] != "READY":
            raise ba.BenchError("display server said %r" % ready)
        self.displays = ready[1].split(",")
        self.record = os.path.join(self.tmp, "fs.rec")
        fs = self.spawn([sys.executable, ba.FSSIM, "--record", self.record, "--work", str(self.args.work),
                         "--control", os.path.join(self.tmp, "fs.sock")])
        line = ba.read_line(fs.stdout, "the simulator")
        if not line.startswith("PORT "):
            raise ba.BenchError("simulator said %r" % line)
        self.port = int(line.split()[1])
        self.x = ba.Control(ready[2], timeout=300)
        self.fs = ba.Control(os.path.join(self.tmp, "fs.sock"), timeout=300)
        self.config = os.path.join(self.tmp, "client.prf")
        with open(self.config, "w") as f:
            f.write("[nfsserver/mount/port={(%d)}]\n[nfsserver/mount/realserver={(127.0.0.1)}]\n"
                    "[nfsserver/client/timeout={(%d)}]\n[nfsserver/mount/mountpoint={(/srv/wexdrives)}]\n"
                    "[nfsserver/user/symlinkdir={($HOME)}]\n" % (self.port, self.args.timeout))

    def launch(self, i):
        home = os.path.join(self.tmp, "home%d" % i)
        os.makedirs(home, exist_ok=True)
        log = open(os.path.join(self.tmp, "agent%d.log" % i), "wb")
        p = self.spawn([self.args.agent, "--dmpdisplay", self.displays[i], "--servercfg", self.config],
                       env=dict(os.environ, HOME=home), stdout=log, stderr=log)
        log.close()
        return p

    def configured(self):
        """Share entries (host/share/winname) holding a value, and displays registered, at the simulator."""
        state = self.fs.call("state")
        shares = sum(1 for keys in state["config"].values() for k, v in keys.items()
                     if k.count("/") == 6 and k.endswith("/winname") and v and v[0])
        return shares, sum(len(d) for d in state["displays"].values())

    def wait_until(self, done, quiet):
        """Polls until done() or nothing new reached the simulator for `quiet` seconds."""
        last, changed = -1, time.monotonic()
        while not done():
            calls = self.fs.call("state")["calls"]
            if calls != last:
                last, changed = calls, time.monotonic()
            elif time.monotonic() - changed > quiet:
                return False
            time.sleep(0.5)
        return True

    def run(self):
        args, n, d = self.args, self.n, self.args.drives
        user = base64.b64encode(b"alice").decode().replace("/", "-")
        password = base64.b64encode(b"secret").decode().replace("/", "-")
        try:
            self.start_peers()
            drops0 = udp_drops(self.port)
            t0 = time.monotonic()
            procs = [self.launch(i) for i in range(n)]
            spawned = time.monotonic() - t0
            # A session registers, then opens its display; one whose registration failed ends.
            announced, added = set(), 0
            quiet = args.timeout + 10
            while True:
                clients = {c["display"]: c for c in self.x.call("clients")["clients"] if c["init_t"] is not None}
                for display, c in clients.items():
                    if display not in announced:
                        announced.add(display)
                        self.x.call("send_init", client=c["client"])
                        for k in range(d):
                            self.x.call("add_device", client=c["client"], device_id=k + 1,
                                        uri="smb://PC%d/%c" % (display, ord("C") + k), user=user,
                                        password=password)
                            added += 1
                if len(announced) + sum(p.poll() is not None for p in procs) >= n:
                    break
                if time.monotonic() - t0 > 2 * quiet + spawned:
                    break
                time.sleep(0.05)
            announce_s = time.monotonic() - t0
            self.wait_until(lambda: self.configured()[0] >= added, quiet)
            peak, _ = self.configured()
            for c in self.x.call("clients")["clients"]:
                if not c["closed"]:
                    self.x.call("close_client", client=c["client"])
            codes = []
            for p in procs:
                try:
                    codes.append(p.wait(4 * args.timeout + 60))
                except Exception:
                    p.kill()
                    codes.append("killed")
            total_s = time.monotonic() - t0
            drops = udp_drops(self.port) - drops0
            left, displays_left = self.configured()
            calls = collections.Counter()
            repeats = collections.Counter()
            with open(self.record) as f:
                for line in f:
                    rec = json.loads(line)
                    calls[rec.get("proc")] += 1
                    repeats[rec.get("proc")] += rec.get("copy", 1) > 1
            needed = n * (d + 4)
            received = sum(calls.values())
            registered = len(announced)
            print("\nkpatdmcl storm: %d sessions x %d drives, %.0f ms per call at the simulator, time-out %d s"
                  % (n, d, args.work * 1e3, args.timeout))
            print("agent: %s" % args.agent)
            print("agents spawned within %.1f s; all sessions announced after %.1f s; all ended after %.1f s"
                  % (spawned, announce_s, total_s))
            rows = [("datagrams the kernel dropped", drops),
                    ("sessions registered", "%d of %d" % (registered, n)),
                    ("drives configured", "%d of %d announced (%d asked for)" % (peak, added, n * d)),
                    ("calls received", "%d (needed %d, goal at most %d)" % (received, needed, needed * 3 // 2))]
            for proc in sorted(p for p in calls if p is not None):
                rows.append(("  %d %s" % (proc, PROCS.get(proc, "")), "%d, %d repeats" % (calls[proc], repeats[proc])))
            rows.append(("exit statuses", ", ".join("%s x %d" % (c, k) for c, k in
                                                    sorted(collections.Counter(map(str, codes)).items()))))
            rows.append(("left configured at the end", "%d shares, %d displays registered" % (left, displays_left)))
            for name, value in rows:
                print("%-34s %s" % (name, value))
            met = registered == n and peak == n * d and left == 0 and received <= needed * 1.5
            print("goal (all registered, all configured, nothing left, calls <= 1.5 x needed): %s"
                  % ("met" if met else "NOT met"))
        finally:
            self.finish()


def main():
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("--agent", default=os.path.join(ba.ROOT, "build", "bin", "kpatdmcl"))
    ap.add_argument("--sessions", type=int, default=300)
    ap.add_argument("--drives", type=int, default=2)
    ap.add_argument("--work", type=float, default=0.010)
    ap.add_argument("--timeout", type=int, default=30)
    ap.add_argument("--keep", action="store_true")
    args = ap.parse_args()
    if not os.access(args.agent, os.X_OK):
        sys.exit("no agent at %s (build it first)" % args.agent)
    if not 1 <= args.sessions <= 1000 or not 1 <= args.drives <= 23:
        sys.exit("bench_storm: --sessions must be 1..1000 and --drives 1..23")
    try:
        Storm(args).run()
    except ba.BenchError as e:
        sys.exit("bench_storm: %s" % e)


if __name__ == "__main__":
    main()
