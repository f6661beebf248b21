"""Every way a session ends, end to end: what the agent configured is withdrawn, the status is the cause's."""

import os
import pathlib
import signal
import sys

from agent_test import ALICE, SECRET, USER, AgentTest
from peers import EMULATOR, SOURCE_DIR, wait_for

sys.path.insert(0, os.path.join(SOURCE_DIR, "tools/xtestserver"))
import dmpwire  # noqa: E402

TIMED_OUT = "The command failed: Connection timed out while contacting the server\nCheck the server is running\n"
# An add request announcing three configuration entries, followed by a mebibyte of garbage instead.
GARBAGE_ADD = (dmpwire.add_device_request(9, "smb://pc1/G", config=[("k", "v")] * 3)[:-24] + b"\xff" * (1 << 20)).hex()


class Endings(AgentTest):
    displays = 2
    x = property(lambda self: self.peers.x.call)  # a command to the display server
    sig = property(lambda self: self.peers.agent.send_signal)

    def go(self, timeout=1):
        self.start(config=self.peers.config({"nfsserver/client/timeout": [str(timeout)]}))

    def drive(self, i, **kwargs):
        self.peers.x.call("add_device", device_id=i, uri="smb://pc1/D%d" % i, user=ALICE, password=SECRET, **kwargs)

    def drives(self, *ids):  # each one answered before the next is sent
        for i in ids:
            calls = len(self.peers.calls(102))
            self.drive(i)
            self.peers.wait_calls(102, calls + 1)

    def mode(self, proc, mode="ok", **kwargs):  # for the next call of `proc` only
        self.peers.fs.call("mode", proc=proc, mode=mode, count=1, **kwargs)

    def caught(self):  # the handler is in place (the delay follows it at once)
        proc = pathlib.Path("/proc/%d" % self.peers.agent.pid)
        if EMULATOR:  # the emulator catches every signal itself: the delay's sleep shows the agent's is in place
            return proc.joinpath("syscall").read_text().split()[0] in ("35", "230")  # nanosleep, clock_nanosleep
        return int((proc / "status").read_text().split("SigCgt:")[1].split()[0], 16) & 1 << signal.SIGTERM - 1

    # What the simulator holds afterwards: "clean" nothing; "registered" the registration alone (its
    # withdrawal was refused); "untouched" nothing was configured, so nothing was flushed either;
    # "behind" all of it (a second signal cut the clean-up short).
    CASES = [
        ("display closed during a call", lambda t: (t.go(3), t.drives(1, 2), t.mode(102, delay=1), t.drive(3),
                                                    t.x("close_client")), 0, "", "clean"),
        ("display server killed during a call", lambda t: (t.go(3), t.drives(1, 2), t.mode(102, delay=1), t.drive(3),
                                                           t.peers.procs[0].kill()), 0, "", "clean"),
        *[("%s while idle" % s.name, lambda t, s=s: (t.go(), t.drives(1, 2), t.sig(s)), 128 + s, "", "clean")
          for s in (signal.SIGTERM, signal.SIGHUP, signal.SIGINT)],
        ("SIGTERM during a call's reply wait", lambda t: (t.go(3), t.drives(1), t.mode(102, "silent"), t.drives(2),
                                                          t.sig(signal.SIGTERM)), 143, TIMED_OUT, "clean"),
        ("SIGTERM during the registration's reply wait",
         lambda t: (t.mode(105, "silent"), t.peers.start_agent(config=t.peers.config({"nfsserver/client/timeout": ["3"]})),
                    t.peers.wait_calls(105, 1), t.sig(signal.SIGTERM)), 143, "", "untouched"),
        ("SIGTERM during --delay", lambda t: (t.peers.start_agent(args=["--delay", "30"]), wait_for(t.caught),
                                              t.sig(signal.SIGTERM)), 143, "", "untouched"),
        ("SIGINT during the clean-up", lambda t: (t.go(30), t.drives(1, 2), t.mode(102, "silent"), t.sig(signal.SIGTERM),
                                                  t.peers.wait_calls(102, 3), t.sig(signal.SIGINT)), 130, "", "behind"),
        ("every call's first copy lost", lambda t: (t.peers.fs.call("drop", copies=1), t.go(5), t.drives(1, 2),
                                                    t.x("close_client")), 0, "", "clean"),
        ("refused command on the second of three drives, tried again when announced again",
         lambda t: (t.go(), t.drives(1), t.mode(102, "error", text="e"), t.drives(2, 3, 2), t.x("close_client")),
         0, "The command failed: e\n", "clean"),
        # The drives share their password's storage in the device table; the one removed first takes
        # nothing of the other's with it.
        ("display closed after the first of two drives was removed",
         lambda t: (t.go(), t.drives(1, 2), t.x("remove_device", device_id=1), t.peers.wait_calls(102, 3),
                    t.x("close_client")), 0, "", "clean"),
        ("refused withdrawal", lambda t: (t.go(), t.drives(1, 2), t.mode(102, "error", text="e"), t.x("remove_device", device_id=1),
                                          t.peers.wait_calls(102, 3), t.x("close_client")), 0, "The command failed: e\n", "clean"),
        ("unanswered command on the second of three drives",
         lambda t: (t.go(), t.drives(1), t.mode(102, "silent"), t.drives(2, 3), t.x("close_client")), 0, TIMED_OUT, "clean"),
        ("cut add request", lambda t: (t.go(), t.drives(1), t.drive(2, truncate=20), t.drives(3), t.x("close_client")), 0, "MALFORMED", "clean"),
        ("truncated removal", lambda t: (t.go(), t.drives(1), t.x("remove_device", device_id=1, truncate=8), t.drives(3),
                                         t.x("close_client")), 0, "MALFORMED", "clean"),
        ("add request running into 1 MiB of garbage", lambda t: (t.go(), t.drives(1), t.x("send_raw", hex=GARBAGE_ADD, mode="id"),
                                                                 t.drives(3), t.x("close_client")), 0, "MALFORMED", "clean"),
        ("display that cannot be opened", lambda t: t.peers.start_agent(display=":999"), 5, "Failed to open X display: :999\n", "clean"),
        ("first display without the extension", lambda t: (t.x("set", xkpdev=False), t.peers.start_agent()), 5, "", "clean"),
        ("second display without the extension",
         lambda t: (t.peers.controls[1].call("set", xkpdev=False), t.go(), t.drives(1, 2),
                    t.peers.fs.call("push", proc=105, result=2, display=t.peers.displays[1], error="")), 5, "", "clean"),
        ("refused unregistration in the clean-up", lambda t: (t.mode(106, "error", text="no"), t.go(), t.drives(1, 2),
                                                              t.x("close_client")), 4, "The command failed: no\n", "registered"),
    ]

    def test_every_ending_withdraws_what_was_configured(self):
        for i, (name, play, status, err, left) in enumerate(self.CASES):
            with self.subTest(name):
                if i:
                    self.setUp()
                self.peers.fs.call("sessions", user=USER, sessions=[{"name": "pc1"}])
                play(self)
                rc, out, agent_err = self.peers.finish_agent()
                err = err.replace("MALFORMED", "Dropped a malformed device message: %s\n" % self.peers.display)
                self.assertEqual((rc, agent_err), (status, err))
                self.assertEqual("Cannot init DMP extension\n" in out, "extension" in name, out)
                state, cleaned = self.peers.state(), left in ("clean", "registered")
                self.assertEqual(all(v == [""] for v in state["config"].get(USER, {}).values()), left != "behind", state)
                self.assertEqual(USER in state["displays"], left in ("registered", "behind"), state)
                self.assertEqual(state["sessions"][USER] == [], cleaned, state)
                self.assertEqual(out.endswith("Successfully disconnected %s/*\n" % USER), cleaned, out)
                self.assertEqual(os.path.lexists(self.peers.link()), left == "behind")
                self.peers.close()
