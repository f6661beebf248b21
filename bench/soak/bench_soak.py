#!/usr/bin/env python3
"""A long session: one agent, thousands of drive add/remove cycles on one display, then the display lost.

Runs the built kpatdmcl against the test display server and the file-server control simulator (the
same peers and helpers as bench/agent/bench_agent.py). One drive is added and kept; then every cycle
adds a drive under a new share name and removes it again, waiting for both configuration calls at
the simulator. Every --sample cycles it reads the agent's open descriptors and anonymous resident
memory (RssAnon). At the end the display is closed, and the clean-up the agent sends must withdraw
exactly the kept drive. Prints one table with goals, met or not:

  descriptors            constant over the cycles
  anonymous memory       growth per cycle at most 1.1 x what the append-only device table needs,
                         measured in the same run by a program that drives the agent's own table
                         type the same way (soak_device_table, built with the benchmarks). The
                         table keeps one pointer slot and one occupancy bit per drive ever added
                         (8.125 B); it grows ten slots at a time by copying into a larger block,
                         and the allocator does not hand the freed smaller blocks back to the
                         larger ones, so several times that becomes resident
  clean-up               one configuration call withdrawing the kept drive's share and host keys
                         and nothing else; the agent ends; one process and one connection throughout

Usage: bench/soak/bench_soak.py [--agent build/bin/kpatdmcl] [--table build/bin/soak_device_table]
                                [--cycles 10000] [--sample 1000] [--warmup 100] [--cpu 0] [--keep]
"""

import argparse
import base64
import os
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(os.path.dirname(HERE), "agent"))
import bench_agent as ba  # noqa: E402

sys.path.insert(0, os.path.dirname(ba.FSSIM))
import fssim  # noqa: E402

# What one cycle leaves behind in the device table: the slot holding a record pointer, which is
# never reused, and its occupancy bit.
SLOT_BYTES = 8
BIT_BYTES = 1.0 / 8
TABLE_BYTES_PER_CYCLE = SLOT_BYTES + BIT_BYTES
# The agent's growth against the table alone's, measured side by side.
GROWTH_GOAL = 1.1

USER = base64.b64encode(b"alice").decode().replace("/", "-")
PASSWORD = base64.b64encode(b"secret").decode().replace("/", "-")


def anon_kib(pid):
    return ba.kib(ba.proc_status(pid), "RssAnon")


def descriptors(pid):
    return len(os.listdir("/proc/%d/fd" % pid))


class Soak(ba.Bench):
    def add(self, cid, device_id, share):
        self.x.call("add_device", client=cid, device_id=device_id, uri="smb://PC1/%s" % share,
                    user=USER, password=PASSWORD)

    def wait_configs(self, count):
        return [self.tail.next(lambda r: r.get("proc") == 102, timeout=30.0) for _ in range(count)]

    def cycles(self, cid, first, count, batch=10):
        """Cycles [first, first + count): batches of add/remove pairs, then their calls."""
        done = 0
        while done < count:
            n = min(batch, count - done)
            for k in range(n):
                self.add(cid, 2, "D%d" % (first + done + k))
                self.x.call("remove_device", client=cid, device_id=2)
            self.wait_configs(2 * n)
            done += n

    def soak(self):
        a = self.args
        log = open(os.path.join(self.tmp, "agent.log"), "wb")
        p, cid, _ = self.launch_agent(stdout=log, stderr=subprocess.STDOUT)
        log.close()
        self.x.call("send_init", client=cid)
        self.add(cid, 1, "KEEP")
        self.wait_configs(1)
        self.cycles(cid, 0, a.warmup)

        samples = [(0, descriptors(p.pid), anon_kib(p.pid))]
        t0 = time.monotonic()
        done = 0
        while done < a.cycles:
            n = min(a.sample, a.cycles - done)
            self.cycles(cid, a.warmup + done, n)
            done += n
            samples.append((done, descriptors(p.pid), anon_kib(p.pid)))
        seconds = time.monotonic() - t0
        hwm = ba.kib(ba.proc_status(p.pid), "VmHWM")
        pid = p.pid

        # The display goes away: the agent cleans up and ends.
        self.x.call("close_client", client=cid)
        try:
            rc = p.wait(60)
        except subprocess.TimeoutExpired:
            p.kill()
            raise ba.BenchError("the agent did not end after its display closed")
        cleanup = self.wait_configs(1)[0]
        keys = {k: v for k, v in fssim.parse_config(cleanup["request"]["config"])}
        clients = self.x.call("clients")["clients"]
        return samples, seconds, hwm, pid, rc, keys, clients

    def table_alone(self):
        out = subprocess.run([self.args.table, str(self.args.cycles), str(self.args.warmup)],
                             capture_output=True, text=True, preexec_fn=ba.fixed_layout)
        fields = out.stdout.split()
        if out.returncode != 0 or len(fields) != 2:
            raise ba.BenchError("soak_device_table failed: %s" % out.stderr.strip())
        return (int(fields[1]) - int(fields[0])) * 1024.0 / self.args.cycles

    def run(self):
        a = self.args
        os.sched_setaffinity(0, {a.cpu})
        try:
            table = self.table_alone()
            self.start_peers()
            self.write_config()
            samples, seconds, hwm, pid, rc, keys, clients = self.soak()
        finally:
            self.finish()

        print("\nkpatdmcl soak: %d add/remove cycles on one display with one drive kept, all on CPU %d"
              % (a.cycles, a.cpu))
        print("agent: %s (pid %d), %.1f s, %.0f cycles/s" % (a.agent, pid, seconds, a.cycles / seconds))
        print("%8s %6s %10s" % ("cycle", "fds", "RssAnon KiB"))
        for cycle, fds, anon in samples:
            print("%8d %6d %10d" % (cycle, fds, anon))
        fds = {s[1] for s in samples}
        grown = (samples[-1][2] - samples[0][2]) * 1024.0
        per_cycle = grown / a.cycles
        bound = table * GROWTH_GOAL
        user_keys = sorted(keys)
        kept = [k for k in user_keys if "/pc1/" in k]
        expected = {"/pc1/winname", "/pc1/password", "/pc1/KEEP/winname", "/pc1/KEEP/password"}
        withdrawn = {k[k.index("/pc1/"):] for k in kept}
        emptied = all(v == [""] or v == [] for v in keys.values())
        connects = [c for c in clients]
        rows = [
            ("descriptors over the cycles", "", "%s" % "/".join(str(f) for f in sorted(fds)), "constant",
             len(fds) == 1),
            ("anonymous memory growth per cycle", "B", "%.2f" % per_cycle,
             "<= %.2f (%g x table)" % (bound, GROWTH_GOAL), per_cycle <= bound),
            ("  the device table alone, growth per cycle", "B", "%.2f" % table, "-", None),
            ("anonymous memory, first and last sample", "KiB", "%d -> %d" % (samples[0][2], samples[-1][2]),
             "-", None),
            ("VmHWM at the end", "KiB", "%d" % hwm, "-", None),
            ("clean-up withdraws exactly the kept drive", "", "%d keys" % len(keys),
             "KEEP share + host", withdrawn == expected and len(keys) == 4 and emptied),
            ("agent processes and display connections", "", "1 / %d" % len(connects), "1 / 1",
             len(connects) == 1),
        ]
        print("%-44s %-3s %22s %26s %4s" % ("measure", "unit", "agent", "goal", "met"))
        for name, unit, value, goal, met in rows:
            print("%-44s %-3s %22s %26s %4s" % (name, unit, value, goal, "" if met is None else
                                                ("yes" if met else "NO")))
        print("the device table keeps %.3f B per cycle (%d B slot + 1 bit); resident with its "
              "copy-on-grow blocks: %.2f B (%.1f x)" % (TABLE_BYTES_PER_CYCLE, SLOT_BYTES, table,
                                                     table / TABLE_BYTES_PER_CYCLE))
        print("agent exit after the display closed: %d" % rc)
        if withdrawn != expected or len(keys) != 4:
            print("clean-up keys: %s" % user_keys)


def main():
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("--agent", default=os.path.join(ba.ROOT, "build", "bin", "kpatdmcl"))
    ap.add_argument("--table", default=os.path.join(ba.ROOT, "build", "bin", "soak_device_table"))
    ap.add_argument("--cycles", type=int, default=10000)
    ap.add_argument("--sample", type=int, default=1000)
    ap.add_argument("--warmup", type=int, default=100)
    ap.add_argument("--cpu", type=int, default=0)
    ap.add_argument("--keep", action="store_true")
    args = ap.parse_args()
    for path in (args.agent, args.table):
        if not os.access(path, os.X_OK):
            sys.exit("no %s (build it first)" % path)
    if args.cycles < 1 or args.sample < 1 or args.warmup < 0:
        sys.exit("bench_soak: --cycles and --sample must be positive, --warmup not negative")
    try:
        Soak(args).run()
    except ba.BenchError as e:
        sys.exit("bench_soak: %s" % e)


if __name__ == "__main__":
    main()
