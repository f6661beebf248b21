"""Whom the agent hears and which names it acts on: another local socket that knows the agent's
control port is ignored, and names that are not valid UTF-8 or carry a zero byte are never used cut
short. The real binary against the real peers."""

import base64
import os
import socket
import subprocess
import sys
import tempfile
import time
import unittest

from agent_test import BASE, SET_OK, AgentTest
from peers import SOURCE_DIR

sys.path.insert(0, os.path.join(SOURCE_DIR, "tools/fssim"))
import fssim  # noqa: E402  (the simulator's reply builders)


def encoded(raw):
    """`raw` in the program's Base64 alphabet."""
    return base64.b64encode(raw).decode().replace("/", "-")


class Stranger:
    """A second UDP socket on the same host, aimed at the agent's control port."""

    def __init__(self, peers):
        self.sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.sock.bind(("127.0.0.1", 0))
        self.target = peers.agent_address()

    def send(self, datagram):
        self.sock.sendto(datagram, self.target)

    def reply(self, xid, proc, payload):
        """A well-formed accepted reply carrying a control response."""
        self.send(fssim.reply_accepted(xid, 0, fssim.u32(proc) + payload))

    def close(self):
        self.sock.close()


class Strangers(AgentTest):
    displays = 2

    def stranger(self):
        s = Stranger(self.peers)
        self.addCleanup(s.close)
        return s

    def bound_address(self, port):
        """The local address of the agent's UDP socket on `port`, as /proc/net/udp shows it."""
        with open("/proc/net/udp") as f:
            for line in f.readlines()[1:]:
                local = line.split()[1]
                if int(local.split(":")[1], 16) == port:
                    return local.split(":")[0]
        return None

    def test_reply_from_another_sender_is_ignored_and_the_servers_is_taken(self):
        self.peers.fs.call("mode", proc=102, mode="ok", delay=0.6, count=1)
        self.start(config=self.peers.config({"nfsserver/client/timeout": ["3"]}))
        stranger = self.stranger()
        self.assertEqual(self.bound_address(stranger.target[1]), "0100007F", "bound to 127.0.0.1 only")
        self.add(1, "smb://pc1/C")
        call = self.peers.wait_calls(102, 1)[0]
        stranger.reply(call["xid"], 102, fssim.ustr("error"))  # would end the agent with exit 4
        rc, out, err = self.close_display()
        self.assertEqual((rc, err), (0, ""))
        self.assertTrue(out.startswith(SET_OK), out)

    def test_push_from_another_sender_opens_nothing(self):
        # A long time-out: a stranger's datagram must not leave the agent waiting for the server's.
        self.start(config=self.peers.config({"nfsserver/client/timeout": ["30"]}))
        stranger = self.stranger()
        stranger.reply(0, 105, fssim.u32(2) + fssim.ustr(self.peers.displays[1]) + fssim.ustr(""))
        self.peers.wait_agent_idle()
        self.assertEqual(self.peers.controls[1].call("clients")["clients"], [], "no display opened")
        self.assertEqual([c["proc"] for c in self.peers.calls()], [105], "nothing sent")
        # The same push from the file server is still heard.
        self.peers.fs.call("push", proc=105, result=2, display=self.peers.displays[1], error="")
        self.peers.controls[1].call("wait_client", count=1, timeout=10)

    def test_datagrams_from_another_sender_do_not_prolong_a_call(self):
        self.peers.fs.call("mode", proc=102, mode="silent")
        self.start(config=self.peers.config({"nfsserver/client/timeout": ["2"]}))
        stranger = self.stranger()
        self.add(1, "smb://pc1/C")
        sent_ns = self.peers.wait_calls(102, 1)[0]["t_ns"]
        next_send = 0
        while self.peers.agent.poll() is None and time.monotonic_ns() - sent_ns < 6e9:
            if time.monotonic() >= next_send:
                stranger.send(fssim.GARBAGE)
                next_send = time.monotonic() + 0.5
            time.sleep(0.01)
        took = (time.monotonic_ns() - sent_ns) / 1e9
        rc, _, err = self.peers.finish_agent()
        self.assertEqual(rc, 4)
        self.assertTrue(err.startswith("The command failed: Connection timed out"), err)
        self.assertTrue(1.9 <= took < 3.0, "time-out after %.2f s instead of about 2 s" % took)


class Names(AgentTest):
    def test_client_user_name_with_a_zero_byte_sends_the_text_before_it(self):
        self.start()
        self.add(1, "smb://pc1/C", user=encoded(b"al\0ice"))
        first = self.set_configs(1)[0]
        self.assertEqual(first[BASE + "pc1/winname"], ["al"])
        self.assertEqual(first[BASE + "pc1/C/winname"], ["al"])
        self.assertEqual(len(first), 4, first)

    def test_account_name_that_is_not_utf8_ends_with_exit_3(self):
        # Our own user database in a private mount namespace names the current user j\xFCrgen (Latin-1).
        if os.geteuid() != 0:
            self.skipTest("needs root to mount over /etc/passwd")
        if subprocess.run(["unshare", "--mount", "true"], capture_output=True).returncode != 0:
            self.skipTest("private mount namespaces are refused here")
        with tempfile.NamedTemporaryFile(dir=self.peers.dir, delete=False) as f:
            f.write(b"j\xfcrgen:x:%d:%d::/root:/bin/sh\n" % (os.geteuid(), os.getegid()))
        wrapper = ["unshare", "--mount", "sh", "-c", 'mount --bind "$0" /etc/passwd && exec "$@"', f.name]
        rc, out, err = self.peers.run_agent(prefix=wrapper)
        self.assertEqual((rc, out, err), (3, "", "Failed to work out the current user\n"))
        self.assertEqual(self.peers.calls(), [], "nothing reaches the file server")


if __name__ == "__main__":
    unittest.main()
