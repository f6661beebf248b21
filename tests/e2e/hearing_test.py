"""Whom the agent hears and which names it acts on: the real binary against the real peers, with a
stranger's socket on the same host aimed at the agent's control port."""

import base64
import os
import socket
import subprocess
import sys
import time

from agent_test import BASE, SET_OK, AgentTest
from peers import SOURCE_DIR

sys.path.insert(0, os.path.join(SOURCE_DIR, "tools/fssim"))
from fssim import GARBAGE, reply_accepted, u32, ustr  # noqa: E402


class Hearing(AgentTest):
    displays = 2

    def start_with_stranger(self, timeout):
        """Starts the agent with `timeout` and returns a function sending a datagram from another socket."""
        self.start(config=self.peers.config({"nfsserver/client/timeout": [str(timeout)]}))
        sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.addCleanup(sock.close)
        self.agent_port = self.peers.agent_address()[1]
        return lambda datagram: sock.sendto(datagram, ("127.0.0.1", self.agent_port))

    def test_reply_from_a_stranger_is_ignored_and_the_servers_is_taken(self):
        self.peers.fs.call("mode", proc=102, mode="ok", delay=0.6, count=1)
        send = self.start_with_stranger(3)
        with open("/proc/net/udp") as f:  # local address of the agent's port: 127.0.0.1 alone
            self.assertIn("0100007F:%04X" % self.agent_port, f.read())
        self.add(1, "smb://pc1/C")
        xid = self.peers.wait_calls(102, 1)[0]["xid"]
        send(reply_accepted(xid, 0, u32(102) + ustr("error")))  # would end the agent with exit 4
        rc, out, err = self.close_display()
        self.assertEqual((rc, err), (0, ""))
        self.assertTrue(out.startswith(SET_OK), out)

    def test_push_from_a_stranger_opens_nothing_and_waits_for_nothing(self):
        send = self.start_with_stranger(30)
        send(reply_accepted(0, 0, u32(105) + u32(2) + ustr(self.peers.displays[1]) + ustr("")))
        self.peers.wait_agent_idle()  # within its 10 s, not after the 30 s time-out
        self.assertEqual(self.peers.controls[1].call("clients")["clients"], [], "no display opened")
        self.assertEqual([c["proc"] for c in self.peers.calls()], [105], "nothing sent")

    def test_a_strangers_datagrams_do_not_prolong_a_call(self):
        self.peers.fs.call("mode", proc=102, mode="silent")
        send = self.start_with_stranger(2)
        self.add(1, "smb://pc1/C")
        called = self.peers.wait_calls(102, 1)[0]["t_ns"] / 1e9  # the simulator's clock is ours
        next_send = 0
        while self.peers.agent.poll() is None and time.monotonic() - called < 12:  # prolonged, it would outlast this
            if time.monotonic() >= next_send:
                send(GARBAGE)
                next_send = time.monotonic() + 0.5
            time.sleep(0.01)
        took = time.monotonic() - called
        self.assertEqual(self.peers.finish_agent()[::2], (4, "The command failed: Connection timed out while "
                                                             "contacting the server\nCheck the server is running\n"))
        self.assertLess(took, 8.0, "the datagrams prolonged the 2 s time-out")

    def test_client_user_name_ends_at_its_first_zero_byte(self):
        self.start()
        self.add(1, "smb://pc1/C", user=base64.b64encode(b"al\0ice").decode())
        first = self.set_configs(1)[0]
        self.assertEqual((len(first), first[BASE + "pc1/winname"], first[BASE + "pc1/C/winname"]), (4, ["al"], ["al"]))

    def test_account_name_that_is_not_utf8_ends_with_exit_3(self):
        if os.geteuid() != 0 or subprocess.run(["unshare", "--mount", "true"]).returncode != 0:
            self.skipTest("needs root and a private mount namespace to put its own user database in place")
        passwd = os.path.join(self.peers.dir, "passwd")
        mount = ["unshare", "--mount", "sh", "-c", 'mount --bind "$0" /etc/passwd && exec "$@"', passwd]
        # The current user named j\xFCrgen in Latin-1, then with such a home directory.
        for name, home in ((b"j\xfcrgen", b"/root"), (b"root", b"/home/j\xfcrgen")):
            with open(passwd, "wb") as f:
                f.write(b"%s:x:%d:%d::%s:/bin/sh\n" % (name, os.geteuid(), os.getegid(), home))
            self.assertEqual(self.peers.run_agent(prefix=mount), (3, "", "Failed to work out the current user\n"))
            self.assertEqual(self.peers.calls(), [], "nothing reaches the file server")
