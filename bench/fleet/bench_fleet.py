#!/usr/bin/env python3
"""A server's view of the agent: many sessions at once, beside the floor of as many plain clients.

Starts one test display server process serving N displays (tools/xtestserver --displays N) and one
file-server control simulator (tools/fssim), then N agents at once, each with its own HOME, its own
display and a few drives, and beside them N floor programs (floor_ext.c: open the same display with
libX11 and find the extension through libXext). Prints one table:

  one session's start-up   exec to both the agent's init indication on its display and its
                           display registration (105) at the simulator, median of --starts runs
  start-up storm           all N started together: first exec to the last init indication and
                           the last registration
  memory per session       Pss, private dirty and VmHWM of every agent and every floor program,
                           median and max, all taken in one snapshot while both sets run
  idle CPU                 CPU time of all agents together over --idle quiet seconds

Goals, printed as met or not: private dirty per session at most floor + 64 KiB; the storm within
2 x one start-up x N / CPUs (CPUs: the processors this run may use); idle CPU 0.

Usage: bench/fleet/bench_fleet.py [--agent build/bin/kpatdmcl] [--sessions 50] [--drives 3]
                                  [--idle 10] [--starts 5] [--keep]
Needs python3 and a C compiler with the libX11 and libXext headers.
"""

import argparse
import base64
import os
import shutil
import statistics
import subprocess
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "agent"))
import bench_agent as ba  # noqa: E402

FLOOR_C = os.path.join(os.path.dirname(os.path.abspath(__file__)), "floor_ext.c")
PRIVATE_DIRTY_ALLOWANCE = 64  # KiB per session above the floor


def rollup(pid):
    """Pss and Private_Dirty in KiB, from smaps_rollup."""
    out = {}
    with open("/proc/%d/smaps_rollup" % pid) as f:
        for line in f:
            key, _, value = line.partition(":")
            if key in ("Pss", "Private_Dirty"):
                out[key] = int(value.split()[0])
    return out


def memory(pid):
    r = rollup(pid)
    return {"pss": r["Pss"], "dirty": r["Private_Dirty"], "hwm": ba.kib(ba.proc_status(pid), "VmHWM")}


class Fleet(ba.Bench):
    def __init__(self, args):
        super().__init__(args)
        self.n = args.sessions
        self.cpus = len(os.sched_getaffinity(0))

    def start_peers(self):
        # One display server process for every display: one asyncio loop holds N listening
        # sockets and their clients, where N processes would each carry a whole interpreter.
        xs = self.spawn([sys.executable, ba.XTESTSERVER, "--display", "auto", "--displays",
                         str(self.n), "--control", os.path.join(self.tmp, "x.sock"), "--watch-parent"])
        ready = ba.read_line(xs.stdout, "the display server", 30).split()
        if len(ready) != 3 or ready[0] != "READY":
            raise ba.BenchError("display server said %r" % ready)
        self.displays = ready[1].split(",")
        if len(self.displays) != self.n:
            raise ba.BenchError("display server offers %d displays, not %d" % (len(self.displays), self.n))
        self.record = os.path.join(self.tmp, "fs.rec")
        fs = self.spawn([sys.executable, ba.FSSIM, "--record", self.record])
        line = ba.read_line(fs.stdout, "the simulator")
        if not line.startswith("PORT "):
            raise ba.BenchError("simulator said %r" % line)
        self.port = int(line.split()[1])
        self.x = ba.Control(ready[2], timeout=180)
        self.tail = ba.RecordTail(self.record)
        self.peers = [xs, fs]

    def compile_floor(self):
        cc = shutil.which("cc") or shutil.which("gcc")
        if not cc:
            raise ba.BenchError("no C compiler for the floor program")
        self.floor = os.path.join(self.tmp, "floor_ext")
        if subprocess.run([cc, "-O2", "-o", self.floor, FLOOR_C, "-lXext", "-lX11"]).returncode != 0:
            raise ba.BenchError("the floor program did not compile (libX11 and libXext headers?)")

    def write_config(self):
        # One file for every session: the link directory is each agent's own $HOME.
        self.config = os.path.join(self.tmp, "client.prf")
        with open(self.config, "w") as f:
            f.write("# written by bench_fleet.py\n"
                    "[nfsserver/mount/port={(%d)}]\n"
                    "[nfsserver/mount/realserver={(127.0.0.1)}]\n"
                    "[nfsserver/client/timeout={(5)}]\n"
                    "[nfsserver/mount/mountpoint={(/srv/wexdrives)}]\n"
                    "[nfsserver/user/symlinkdir={($HOME)}]\n" % self.port)

    def launch(self, i):
        home = os.path.join(self.tmp, "home%d" % i)
        os.makedirs(home, exist_ok=True)
        log = open(os.path.join(self.tmp, "agent%d.log" % i), "wb")
        p = self.spawn([self.args.agent, "--dmpdisplay", self.displays[i], "--servercfg", self.config],
                       env=dict(os.environ, HOME=home), stdout=log, stderr=subprocess.STDOUT)
        log.close()
        return p

    def wait_started(self, displays, t0, clients_before, registrations):
        """Waits for every display's first message and registration; returns ({display: client},
        ns from t0 to the last of them)."""
        wanted = set(displays)
        reply = self.x.call("wait_inits", count=clients_before + len(wanted), timeout=120.0)
        clients = {c["display"]: c for c in reply["clients"]
                   if c["init_t"] is not None and ":%d" % c["display"] in wanted and not c["closed"]}
        if len(clients) != len(wanted):
            raise ba.BenchError("%d of %d displays have an agent" % (len(clients), len(wanted)))
        seen = {}
        while len(seen) < len(wanted):
            rec = self.tail.next(lambda r: r.get("proc") == 105, timeout=120.0)
            name = rec.get("request", {}).get("display")
            if name in wanted and name not in registrations:
                seen[name] = rec["t_ns"]
        registrations.update(seen)
        last = max(max(c["init_t"] for c in clients.values()), max(seen.values()))
        return {":%d" % d: c["client"] for d, c in clients.items()}, last - t0

    def end(self, procs, clients):
        for cid in clients:
            self.x.call("close_client", client=cid)
        codes = []
        for p in procs:
            try:
                codes.append(p.wait(60))
            except subprocess.TimeoutExpired:
                p.kill()
                raise ba.BenchError("an agent did not end after its display closed")
        return codes

    # -- the measurements -------------------------------------------------------------------
    def single_starts(self):
        """One session alone, several times, on the first display."""
        times, registrations, total = [], {}, 0
        for _ in range(self.args.starts):
            registrations.clear()
            t0 = time.monotonic_ns()
            p = self.launch(0)
            clients, ns = self.wait_started(self.displays[:1], t0, total, registrations)
            total += 1
            times.append(ns)
            self.x.call("send_init", client=clients[self.displays[0]])
            self.end([p], clients.values())
        self.clients_used = total
        return statistics.median(times)

    def storm(self):
        registrations = {}
        t0 = time.monotonic_ns()
        procs = [self.launch(i) for i in range(self.n)]
        spawned = time.monotonic_ns() - t0
        clients, ns = self.wait_started(self.displays, t0, self.clients_used, registrations)
        return procs, clients, ns, spawned

    def drives(self, clients):
        user = base64.b64encode(b"alice").decode().replace("/", "-")
        password = base64.b64encode(b"secret").decode().replace("/", "-")
        for i, name in enumerate(self.displays):
            self.x.call("send_init", client=clients[name])
        for d in range(self.args.drives):
            for i, name in enumerate(self.displays):
                self.x.call("add_device", client=clients[name], device_id=d + 1,
                            uri="smb://PC%d/%c" % (i, ord("C") + d), user=user, password=password)
        for _ in range(self.n * self.args.drives):
            self.tail.next(lambda r: r.get("proc") == 102, timeout=60.0)

    def run_floors(self):
        floors = []
        for name in self.displays:
            p = self.spawn([self.floor, name], stdin=subprocess.PIPE)
            floors.append(p)
        for p in floors:
            if ba.read_line(p.stdout, "the floor program", 60) != "OPEN":
                raise ba.BenchError("a floor program did not open its display")
        return floors

    def idle(self, procs):
        time.sleep(1.0)
        before = {p.pid: (ba.cpu_ns(p.pid), ba.switches(p.pid)) for p in procs}
        time.sleep(self.args.idle)
        cpu = sum(ba.cpu_ns(p.pid) - before[p.pid][0] for p in procs)
        woke = sum(ba.switches(p.pid) - before[p.pid][1] for p in procs)
        return cpu, woke

    # -- report ------------------------------------------------------------------------------
    def row(self, name, unit, agent, floor, goal, met):
        self.rows.append((name, unit, agent, floor, goal, met))

    def report(self):
        print("\nkpatdmcl fleet: %d sessions, %d drives each, on %d CPUs (one display server process, "
              "one simulator)" % (self.n, self.args.drives, self.cpus))
        print("agent: %s" % self.args.agent)
        print("%-44s %-4s %10s %10s %22s %4s" % ("measure", "unit", "agent", "floor", "goal", "met"))
        for name, unit, agent, floor, goal, met in self.rows:
            fmt = lambda v: "%10s" % "-" if v is None else "%10.1f" % v
            print("%-44s %-4s %s %s %22s %4s" % (name, unit, fmt(agent), fmt(floor), goal or "-",
                                                 "" if met is None else ("yes" if met else "NO")))
        for line in self.notes:
            print(line)

    def run(self):
        self.notes = []
        # Fixed layouts for every child (see bench_agent.fixed_layout), set once here: the setting
        # is inherited, and children started without a hook in between start much faster.
        ba.fixed_layout()
        try:
            self.compile_floor()
            self.start_peers()
            self.write_config()
            one = self.single_starts()
            procs, clients, storm, spawned = self.storm()
            self.drives(clients)
            floors = self.run_floors()
            time.sleep(0.5)
            agent_mem = [memory(p.pid) for p in procs]
            floor_mem = [memory(p.pid) for p in floors]
            for key, label in (("pss", "Pss"), ("dirty", "private dirty"), ("hwm", "VmHWM")):
                a = [m[key] for m in agent_mem]
                f = [m[key] for m in floor_mem]
                goal, met, gmax, mmax = None, None, None, None
                if key == "dirty":
                    goal = "<= floor + %d" % PRIVATE_DIRTY_ALLOWANCE
                    met = statistics.median(a) <= statistics.median(f) + PRIVATE_DIRTY_ALLOWANCE
                    gmax = goal
                    mmax = max(a) <= max(f) + PRIVATE_DIRTY_ALLOWANCE
                self.row("%s per session, median" % label, "KiB", statistics.median(a), statistics.median(f),
                         goal, met)
                self.row("%s per session, max" % label, "KiB", max(a), max(f), gmax, mmax)
            self.row("Pss of all sessions together", "MiB", sum(m["pss"] for m in agent_mem) / 1024.0,
                     sum(m["pss"] for m in floor_mem) / 1024.0, None, None)
            self.row("one session's start-up (median of %d)" % self.args.starts, "ms", one / 1e6, None,
                     None, None)
            bound = 2.0 * one * self.n / self.cpus
            self.row("start-up storm, %d sessions" % self.n, "ms", storm / 1e6, None,
                     "<= %.0f (2x1x%d/%d)" % (bound / 1e6, self.n, self.cpus), storm <= bound)
            self.notes.append("  (the %d agents were spawned within %.0f ms of the first)"
                              % (self.n, spawned / 1e6))
            for p in floors:
                p.stdin.close()
            cpu, woke = self.idle(procs)
            self.row("idle %gs: CPU of all agents" % self.args.idle, "us", cpu / 1e3, None, "0", cpu == 0)
            self.row("idle %gs: context switches of all agents" % self.args.idle, "", woke, None, "0",
                     woke == 0)
            codes = self.end(procs, clients.values())
            self.notes.append("agent exit codes after their displays closed: %s"
                              % ", ".join("%d x %d" % (codes.count(c), c) for c in sorted(set(codes))))
            self.report()
        finally:
            self.finish()


def main():
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("--agent", default=os.path.join(ba.ROOT, "build", "bin", "kpatdmcl"))
    ap.add_argument("--sessions", type=int, default=50)
    ap.add_argument("--drives", type=int, default=3)
    ap.add_argument("--idle", type=float, default=10.0)
    ap.add_argument("--starts", type=int, default=5)
    ap.add_argument("--keep", action="store_true")
    args = ap.parse_args()
    if not os.access(args.agent, os.X_OK):
        sys.exit("no agent at %s (build it first)" % args.agent)
    if not 1 <= args.sessions <= 500 or not 0 <= args.drives <= 23:
        sys.exit("bench_fleet: --sessions must be 1..500 and --drives 0..23")
    try:
        Fleet(args).run()
    except ba.BenchError as e:
        sys.exit("bench_fleet: %s" % e)


if __name__ == "__main__":
    main()
