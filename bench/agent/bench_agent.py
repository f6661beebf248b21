#!/usr/bin/env python3
"""The agent measured end to end against its real peers, beside the floor of the same peers.

Runs the built kpatdmcl against the test display server (tools/xtestserver) and the file-server
control simulator (tools/fssim), every process pinned to one CPU, and prints one table:

  per-drive latency  from the display server writing an add-device event (its "sent_ns") to the
                     simulator receiving the SetConfig call (its record's "t_ns"), median and p99;
                     floor: one XSync plus one bare GetConfig call, timed by a small C program
                     (floor.c) against the same two peers, interleaved with the agent's drives
  resident memory    VmHWM of the agent after start-up and after the drives; floor: a program
                     that only opens the same display with libX11
  idle agent         context switches and system calls (strace -c -f -p) over a quiet interval
  start-up           exec to the display registered (the simulator's 105 call), to the X
                     connection, and to the agent's first DMP message on the display; floor:
                     exec to a 105 call and an open display

Usage: bench/agent/bench_agent.py [--agent build/bin/kpatdmcl] [--drives 500] [--cpu 0]
                                  [--idle 10] [--starts 15] [--keep]
Needs python3, a C compiler with the libX11 headers, and strace for the system-call row.
Times come from CLOCK_MONOTONIC, which every process on the machine shares.
"""

import argparse
import base64
import json
import os
import select
import shutil
import signal
import socket
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
XTESTSERVER = os.path.join(ROOT, "tools", "xtestserver", "xtestserver.py")
FSSIM = os.path.join(ROOT, "tools", "fssim", "fssim.py")
FLOOR_C = os.path.join(os.path.dirname(os.path.abspath(__file__)), "floor.c")

# The client's credentials in the request's Base64 form ("-" for "/").
CLIENT_USER = base64.b64encode(b"alice").decode().replace("/", "-")
CLIENT_PASSWORD = base64.b64encode(b"secret").decode().replace("/", "-")


def fixed_layout():
    """Runs in the child before exec: turns address-space randomisation off (ADDR_NO_RANDOMIZE).
    The kernel maps the pages around every page a process faults in (64 KiB blocks, aligned in
    virtual addresses), so with random load addresses the resident size of the same program varies
    by a few such blocks from run to run; agent and floor are compared with fixed layouts instead."""
    try:
        import ctypes
        ctypes.CDLL(None, use_errno=True).personality(0x0040000)
    except (OSError, AttributeError):
        pass


class BenchError(Exception):
    pass


class Control:
    """JSON-lines control connection to one of the peers."""

    def __init__(self, path, timeout=30.0):
        self.sock = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.sock.settimeout(timeout)
        self.sock.connect(path)
        self.file = self.sock.makefile("rwb")

    def call(self, cmd, **args):
        args["cmd"] = cmd
        self.file.write((json.dumps(args) + "\n").encode())
        self.file.flush()
        line = self.file.readline()
        if not line:
            raise BenchError("control socket closed during %s" % cmd)
        reply = json.loads(line)
        if not reply.get("ok"):
            raise BenchError("%s: %s" % (cmd, reply.get("error")))
        return reply

    def close(self):
        self.file.close()
        self.sock.close()


class RecordTail:
    """Reads the simulator's record file forward; the simulator writes a record before it replies,
    so once a reply has been seen its record is already in the file."""

    def __init__(self, path):
        self.path = path
        self.file = None
        self.partial = ""

    def next(self, pred, timeout=10.0):
        deadline = time.monotonic() + timeout
        while True:
            if self.file is None and os.path.exists(self.path):
                self.file = open(self.path, encoding="utf-8")
            line = self.file.readline() if self.file else ""
            if line:
                self.partial += line
                if not self.partial.endswith("\n"):
                    continue
                rec, self.partial = json.loads(self.partial), ""
                if pred(rec):
                    return rec
                continue
            if time.monotonic() > deadline:
                raise BenchError("no matching simulator record within %.0f s" % timeout)
            time.sleep(0.001)


def proc_status(pid):
    out = {}
    with open("/proc/%d/status" % pid) as f:
        for line in f:
            key, _, value = line.partition(":")
            out[key] = value.strip()
    return out


def kib(status, key):
    return int(status[key].split()[0])


def switches(pid):
    s = proc_status(pid)
    return int(s["voluntary_ctxt_switches"]) + int(s["nonvoluntary_ctxt_switches"])


def rss_by_mapping(pid):
    """Resident KiB per mapped file ("[heap]", "[anon]", ... for the others), from smaps."""
    out = {}
    name = None
    with open("/proc/%d/smaps" % pid) as f:
        for line in f:
            fields = line.split()
            if "-" in fields[0] and ":" not in fields[0]:
                name = os.path.basename(fields[5]) if len(fields) > 5 else "[anon]"
            elif fields[0] == "Rss:":
                out[name] = out.get(name, 0) + int(fields[1])
    return out


def private_kib(pid):
    """Resident pages of the process that no other process shares (Private_Clean + Private_Dirty)."""
    total = 0
    with open("/proc/%d/smaps_rollup" % pid) as f:
        for line in f:
            if line.startswith(("Private_Clean:", "Private_Dirty:")):
                total += int(line.split()[1])
    return total


def cpu_ns(pid):
    """Time the process has spent on a CPU, in ns (first field of schedstat)."""
    with open("/proc/%d/schedstat" % pid) as f:
        return int(f.read().split()[0])


def percentile(values, p):
    ordered = sorted(values)
    k = min(len(ordered) - 1, max(0, int(round(p / 100.0 * len(ordered) + 0.5)) - 1))
    return ordered[k]


_pending = {}


def read_line(stream, what, timeout=10.0):
    """A line from a child's pipe, with a watchdog so a silent child fails the run. Reads the
    descriptor directly: a buffered reader would hide a second line behind the first."""
    fd = stream.fileno()
    buf = _pending.get(fd, b"")
    deadline = time.monotonic() + timeout
    while b"\n" not in buf:
        left = deadline - time.monotonic()
        if left <= 0 or not select.select([fd], [], [], left)[0]:
            raise BenchError("no output from %s within %.0f s" % (what, timeout))
        chunk = os.read(fd, 65536)
        if not chunk:
            raise BenchError("%s closed its output" % what)
        buf += chunk
    line, _, _pending[fd] = buf.partition(b"\n")
    return line.decode(errors="replace")


def read_rest(stream):
    fd = stream.fileno()
    return (_pending.pop(fd, b"") + stream.read()).decode(errors="replace")


class Bench:
    def __init__(self, args):
        self.args = args
        self.tmp = tempfile.mkdtemp(prefix="kpatdmcl-bench-")
        self.children = []
        self.rows = []

    # -- processes -------------------------------------------------------------------------
    def spawn(self, argv, **kw):
        kw.setdefault("stdin", subprocess.DEVNULL)
        kw.setdefault("stdout", subprocess.PIPE)
        kw.setdefault("stderr", subprocess.PIPE)
        p = subprocess.Popen(argv, **kw)
        self.children.append(p)
        return p

    def stop_all(self):
        for p in reversed(self.children):
            if p.poll() is None:
                p.send_signal(signal.SIGTERM)
        for p in reversed(self.children):
            try:
                p.wait(5)
            except subprocess.TimeoutExpired:
                p.kill()
                p.wait()

    def finish(self):
        """Stops every process this run started and removes its files (unless --keep)."""
        self.stop_all()
        if self.args.keep:
            print("files kept in %s" % self.tmp)
        else:
            shutil.rmtree(self.tmp, ignore_errors=True)

    def start_peers(self):
        xs = self.spawn([sys.executable, XTESTSERVER, "--display", "auto", "--control",
                         os.path.join(self.tmp, "x.sock"), "--watch-parent"])
        ready = read_line(xs.stdout, "the display server").split()
        if len(ready) != 3 or ready[0] != "READY":
            raise BenchError("display server said %r" % ready)
        self.display, xsock = ready[1], ready[2]
        self.record = os.path.join(self.tmp, "fs.rec")
        fs = self.spawn([sys.executable, FSSIM, "--record", self.record, "--control",
                         os.path.join(self.tmp, "fs.sock")])
        line = read_line(fs.stdout, "the simulator")
        if not line.startswith("PORT "):
            raise BenchError("simulator said %r" % line)
        self.port = int(line.split()[1])
        self.x = Control(xsock)
        self.tail = RecordTail(self.record)
        self.clients = 0
        self.log_pos = 0
        self.peers = [xs, fs]

    def compile_floor(self):
        cc = shutil.which("cc") or shutil.which("gcc")
        if not cc:
            raise BenchError("no C compiler for the floor program")
        self.floor = os.path.join(self.tmp, "floor")
        subprocess.run([cc, "-O2", "-o", self.floor, FLOOR_C, "-lX11"], check=True)

    def write_config(self):
        self.home = os.path.join(self.tmp, "home")
        os.mkdir(self.home)
        self.config = os.path.join(self.tmp, "client.prf")
        with open(self.config, "w") as f:
            f.write("# written by bench_agent.py\n"
                    "[nfsserver/mount/port={(%d)}]\n"
                    "[nfsserver/mount/realserver={(127.0.0.1)}]\n"
                    "[nfsserver/client/timeout={(5)}]\n"
                    "[nfsserver/mount/mountpoint={(/srv/wexdrives)}]\n"
                    "[nfsserver/user/symlinkdir={(%s)}]\n" % (self.port, self.home))

    def new_log(self):
        reply = self.x.call("log", since=self.log_pos)
        self.log_pos = reply["next"]
        return reply["entries"]

    def next_client(self):
        self.clients += 1
        return self.x.call("wait_client", count=self.clients)["client"]

    # -- agent -----------------------------------------------------------------------------
    def launch_agent(self, **kw):
        """Starts one agent (`kw` goes to Popen); returns (process, client id, start-up times in ns
        from exec)."""
        env = dict(os.environ, HOME=self.home)
        t0 = time.monotonic_ns()
        p = self.spawn([self.args.agent, "--dmpdisplay", self.display, "--servercfg", self.config],
                       env=env, preexec_fn=fixed_layout, **kw)
        cid = self.next_client()
        init = self.x.call("wait_init", client=cid)["message"]
        reg = self.tail.next(lambda r: r.get("proc") == 105)
        connect = next(e["t"] for e in self.new_log()
                       if e.get("client") == cid and e.get("dir") == "connect")
        return p, cid, {"register": reg["t_ns"] - t0, "connect": connect - t0, "init": init["t"] - t0}

    def end_agent(self, p, cid):
        self.x.call("close_client", client=cid)
        try:
            rc = p.wait(30)
        except subprocess.TimeoutExpired:
            p.kill()
            raise BenchError("the agent did not end after its display closed")
        return rc, read_rest(p.stdout), p.stderr.read().decode(errors="replace")

    def launch_floor_start(self):
        t0 = time.monotonic_ns()
        p = self.spawn([self.floor, "start", self.display, str(self.port)], preexec_fn=fixed_layout)
        opened = int(read_line(p.stdout, "the floor program"))
        if p.wait(10) != 0:
            raise BenchError("floor start failed: %s" % p.stderr.read().decode(errors="replace"))
        cid = self.next_client()
        reg = self.tail.next(lambda r: r.get("proc") == 105)
        connect = next(e["t"] for e in self.new_log()
                       if e.get("client") == cid and e.get("dir") == "connect")
        return {"register": reg["t_ns"] - t0, "connect": connect - t0, "init": opened - t0}

    # -- the measurements -------------------------------------------------------------------
    def startup(self):
        agent, floor = [], []
        for _ in range(self.args.starts):
            p, cid, times = self.launch_agent()
            agent.append(times)
            self.x.call("send_init", client=cid)
            rc, out, err = self.end_agent(p, cid)
            if rc != 0:
                raise BenchError("agent ended with %d: %s%s" % (rc, out, err))
            floor.append(self.launch_floor_start())
        med = lambda rows, k: statistics.median(r[k] for r in rows) / 1000.0
        self.row("start-up: exec to display registered (105)", "us", med(agent, "register"),
                 med(floor, "register"), None)
        self.row("start-up: exec to X connection", "us", med(agent, "connect"), med(floor, "connect"), None)
        self.row("start-up: exec to display ready (agent: DMP init sent)", "us", med(agent, "init"),
                 med(floor, "init"), None)

    def drives(self):
        p, cid, _ = self.launch_agent()
        self.x.call("send_init", client=cid)
        time.sleep(0.5)
        hwm_start = kib(proc_status(p.pid), "VmHWM")

        mem = self.spawn([self.floor, "mem", self.display], stdin=subprocess.PIPE, preexec_fn=fixed_layout)
        if read_line(mem.stdout, "the floor program") != "OPEN":
            raise BenchError("floor mem did not open the display")
        self.next_client()
        floor_status = proc_status(mem.pid)
        floor_hwm = kib(floor_status, "VmHWM")
        self.rss_floor = rss_by_mapping(mem.pid)
        floor_private = private_kib(mem.pid)
        mem.stdin.close()
        mem.wait(10)

        rtt = self.spawn([self.floor, "rtt", self.display, str(self.port)], stdin=subprocess.PIPE,
                         preexec_fn=fixed_layout)
        if read_line(rtt.stdout, "the floor program") != "READY":
            raise BenchError("floor rtt did not start")
        self.next_client()
        for q in (p, rtt) + tuple(self.peers):
            if os.sched_getaffinity(q.pid) != {self.args.cpu}:
                raise BenchError("process %d is not pinned to CPU %d" % (q.pid, self.args.cpu))

        agent_ns, get_ns, floor_ns, floor_x, floor_u, floor_sym = [], [], [], [], [], []
        self.new_log()
        cpu_before = {q.pid: cpu_ns(q.pid) for q in [p] + self.peers}

        def one_drive(i):
            reply = self.x.call("add_device", client=cid, device_id=i + 1, uri="smb://PC1/D%d" % i,
                                user=CLIENT_USER, password=CLIENT_PASSWORD)
            while True:
                line = read_line(p.stdout, "the agent")
                if line.startswith("User directory created at"):
                    break
            rec = self.tail.next(lambda r: r.get("proc") == 102)
            agent_ns.append(rec["t_ns"] - reply["sent_ns"])
            got = [e["t"] for e in self.new_log() if e.get("client") == cid
                   and e.get("name") == "XKPDEV.GetRequest"]
            if got:
                get_ns.append(got[0] - reply["sent_ns"])

        def one_floor():
            rtt.stdin.write(b"\n")
            rtt.stdin.flush()
            x_ns, u_ns, sent = (int(v) for v in read_line(rtt.stdout, "the floor program").split())
            rec = self.tail.next(lambda r: r.get("proc") == 103)
            floor_x.append(x_ns)
            floor_u.append(u_ns)
            floor_ns.append(x_ns + u_ns)
            floor_sym.append(x_ns + 2 * (rec["t_ns"] - sent))

        for i in range(self.args.drives):
            # Alternate which side goes first so neither always meets the warmer caches.
            if i % 2:
                one_drive(i)
                time.sleep(0.002)
                one_floor()
            else:
                one_floor()
                time.sleep(0.002)
                one_drive(i)
            time.sleep(0.002)
        cpu_per_drive = {q.pid: (cpu_ns(q.pid) - cpu_before[q.pid]) / self.args.drives for q in [p] + self.peers}
        rtt.stdin.close()
        rtt.wait(10)

        us = lambda v: v / 1000.0
        # The floor is what the agent cannot avoid: one display round trip and one control call, as
        # the floor program sees them. The agent's interval starts with the event's one-way trip
        # and ends at the simulator's receipt, so it leaves out the simulator's reply where the
        # floor leaves out the event; the control call's one-way time is listed below.
        self.row("per-drive latency, median (floor: XSync + call RTT)", "us",
                 us(statistics.median(agent_ns)), us(statistics.median(floor_ns)), "<= 1.2x")
        self.row("per-drive latency, p99   (floor: XSync + call RTT)", "us",
                 us(percentile(agent_ns, 99)), us(percentile(floor_ns, 99)), "<= 1.2x")
        self.detail = {
            "agent: event written to GetRequest received, median us": us(statistics.median(get_ns)) if get_ns else None,
            "agent: GetRequest received to SetConfig received, median us":
                us(statistics.median([a - g for a, g in zip(agent_ns, get_ns)])) if get_ns else None,
            "agent: latency of the first tenth of the drives, median us":
                us(statistics.median(agent_ns[: max(1, len(agent_ns) // 10)])),
            "agent: latency of the last tenth of the drives, median us":
                us(statistics.median(agent_ns[-max(1, len(agent_ns) // 10):])),
            "agent: CPU time per drive (its own work), mean us": us(cpu_per_drive[p.pid]),
            "display server: CPU time per drive and floor call, mean us": us(cpu_per_drive[self.peers[0].pid]),
            "simulator: CPU time per drive and floor call, mean us": us(cpu_per_drive[self.peers[1].pid]),
            "floor: XSync round trip, median us": us(statistics.median(floor_x)),
            "floor: GetConfig round trip, median us": us(statistics.median(floor_u)),
            "floor: GetConfig one-way (sent to received), median us":
                us(statistics.median([(f - x) / 2 for f, x in zip(floor_sym, floor_x)])),
        }

        hwm_after = kib(proc_status(p.pid), "VmHWM")
        self.rss_agent = rss_by_mapping(p.pid)
        private_after = private_kib(p.pid)
        self.row("VmHWM after start-up", "KiB", hwm_start, floor_hwm, "<= floor + 1024")
        self.row("VmHWM after %d drives" % self.args.drives, "KiB", hwm_after, floor_hwm, "<= floor + 1024")
        # Pages no other process shares, for the record only: one agent alone owns every page of
        # its binary, which a server's sessions share; bench/fleet measures what a session costs.
        self.row("private resident after %d drives" % self.args.drives, "KiB", private_after,
                 floor_private, None)

        self.idle(p)
        rc, out, err = self.end_agent(p, cid)
        self.final = (rc, err.strip().splitlines()[-3:])

    def idle(self, p):
        time.sleep(1.0)
        before = switches(p.pid)
        time.sleep(self.args.idle)
        woke = switches(p.pid) - before
        self.row("idle %gs: context switches" % self.args.idle, "", woke, 0, "0")

        strace = shutil.which("strace")
        if not strace:
            self.row("idle %gs: system calls (strace missing)" % self.args.idle, "", float("nan"), 0, "0")
            return
        out = os.path.join(self.tmp, "strace.txt")
        s = subprocess.Popen([strace, "-c", "-f", "-o", out, "-p", str(p.pid)],
                             stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        time.sleep(self.args.idle)
        s.send_signal(signal.SIGINT)
        _, err = s.communicate(timeout=10)
        calls = {}
        if os.path.exists(out):
            for line in open(out):
                f = line.split()
                if len(f) >= 5 and f[0][0].isdigit() and f[-1] != "total":
                    calls[f[-1]] = int(f[3])
        if not calls and err:
            self.strace_note = err.decode(errors="replace").strip()
        other = {k: v for k, v in calls.items() if k not in ("pselect6",)}
        self.strace_calls = calls
        self.row("idle %gs: system calls besides pselect6" % self.args.idle, "", sum(other.values()), 0, "0")

    # -- report ------------------------------------------------------------------------------
    def row(self, name, unit, agent, floor, goal):
        self.rows.append((name, unit, agent, floor, goal))

    def report(self):
        print("\nkpatdmcl against the test display server and the control simulator, all on CPU %d"
              % self.args.cpu)
        print("agent: %s" % self.args.agent)
        head = ("measure", "unit", "agent", "floor", "ratio", "goal", "met")
        print("%-52s %-4s %10s %10s %7s %16s %4s" % head)
        for name, unit, agent, floor, goal in self.rows:
            ratio = agent / floor if floor else float("nan")
            met = ""
            if goal == "<= 1.2x":
                met = "yes" if ratio <= 1.2 else "NO"
            elif goal == "<= floor + 1024":
                met = "yes" if agent <= floor + 1024 else "NO"
            elif goal == "0":
                met = "yes" if agent == 0 else "NO"
            print("%-52s %-4s %10.1f %10.1f %7.2f %16s %4s"
                  % (name, unit, agent, floor, ratio, goal or "-", met))
        print("\nwhere the time goes (medians):")
        for k, v in self.detail.items():
            print("  %-62s %8.1f" % (k, v if v is not None else float("nan")))
        print("resident KiB by mapping, agent after the drives beside the floor (largest differences):")
        names = set(self.rss_agent) | set(self.rss_floor)
        diffs = sorted(names, key=lambda n: self.rss_agent.get(n, 0) - self.rss_floor.get(n, 0), reverse=True)
        for n in diffs[:8]:
            print("  %-40s %8d %8d %+8d" % (n, self.rss_agent.get(n, 0), self.rss_floor.get(n, 0),
                                          self.rss_agent.get(n, 0) - self.rss_floor.get(n, 0)))
        if getattr(self, "strace_calls", None) is not None:
            print("idle system calls seen by strace: %s" % (self.strace_calls or "none"))
        if getattr(self, "strace_note", None):
            print("strace: %s" % self.strace_note)
        rc, err = self.final
        print("agent exit after the display closed: %d%s" % (rc, (" (stderr: %s)" % " | ".join(err)) if err else ""))

    def run(self):
        os.sched_setaffinity(0, {self.args.cpu})  # every child inherits the pin
        try:
            self.compile_floor()
            self.start_peers()
            self.write_config()
            self.startup()
            self.drives()
            self.report()
        finally:
            self.finish()


def main():
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("--agent", default=os.path.join(ROOT, "build", "bin", "kpatdmcl"))
    ap.add_argument("--drives", type=int, default=500)
    ap.add_argument("--cpu", type=int, default=0)
    ap.add_argument("--idle", type=float, default=10.0)
    ap.add_argument("--starts", type=int, default=15)
    ap.add_argument("--keep", action="store_true")
    args = ap.parse_args()
    if not os.access(args.agent, os.X_OK):
        sys.exit("no agent at %s (build it first)" % args.agent)
    try:
        Bench(args).run()
    except BenchError as e:
        sys.exit("bench_agent: %s" % e)


if __name__ == "__main__":
    main()
