"""Whom the agent hears and which names it acts on: the real binary, run as another account, against
the real peers, with a third account's sockets on the same host taking the file server's port or
aimed at the agent's."""

import base64
import multiprocessing
import os
import pwd
import select
import socket
import subprocess
import sys
import unittest

from agent_test import BASE, SET_OK, USER, AgentTest
from peers import SOURCE_DIR

sys.path.insert(0, os.path.join(SOURCE_DIR, "tools/fssim"))
from fssim import reply_accepted, u32, ustr  # noqa: E402


NOBODY, STRANGER = 65534, 65533  # the agent's account and another one, as on a shared server
HELD = "The file server's port is held by another account\nCheck the server is running\n"


FORK = multiprocessing.get_context("fork")  # a stranger needs no interpreter of its own (/root may hide it)


def stranger(conn, port):
    """Another account's socket on 127.0.0.1:`port` (0: any; SO_REUSEADDR: beside such a socket). Given (port, count,
    datagram), it sends the datagram `count` times to that port, then says how many datagrams it has received."""
    os.setgroups([]), os.setgid(STRANGER), os.setuid(STRANGER)
    s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    s.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    s.bind(("127.0.0.1", port))
    conn.send("bound")
    for to, count, datagram in iter(conn.recv, None):
        for _ in range(count):
            s.sendto(datagram, ("127.0.0.1", to))
        conn.send(len(list(iter(lambda: select.select([s], [], [], 0)[0] and s.recv(65536), []))))  # all queued


def cpu_seconds(pid):  # user and system time
    with open("/proc/%d/stat" % pid) as f:
        return sum(map(int, f.read().rsplit(")", 1)[1].split()[11:13])) / os.sysconf("SC_CLK_TCK")


@unittest.skipUnless(os.geteuid() == 0, "runs the agent and a stranger as two other accounts")
class Impostor(AgentTest):
    displays = 2
    fssim_args = ("--reuse-addr",)  # as some servers do: another account may bind the port beside it

    def stranger(self, port):
        conn, theirs = FORK.Pipe()
        proc = FORK.Process(target=stranger, args=(theirs, port), daemon=True)
        proc.start()
        self.addCleanup(lambda: (proc.kill(), proc.join()))
        self.assertEqual(conn.recv(), "bound")
        return conn

    set_ok = staticmethod(lambda drives: SET_OK.replace(USER, pwd.getpwuid(NOBODY).pw_name) * drives)

    def test_stranger_on_the_port_of_a_server_stopped_mid_session_gets_nothing_and_its_push_opens_nothing(self):
        self.start(config=self.peers.config({"nfsserver/client/timeout": ["30"]}), user=NOBODY)
        agent_port = self.peers.agent_address()[1]
        self.peers.procs[-1].terminate(), self.peers.procs[-1].wait()  # the simulator
        stranger = self.stranger(self.peers.port)
        push = reply_accepted(0, 0, u32(105) + u32(2) + ustr(self.peers.displays[1]) + ustr(""))
        self.assertEqual(stranger.send((agent_port, 1, push)) or stranger.recv(), 0)
        self.peers.wait_agent_idle()  # within its 10 s, not after the 30 s time-out
        self.assertEqual(self.peers.controls[1].call("clients")["clients"], [], "no display opened")
        self.add(1, "smb://pc1/D")
        self.peers.wait_agent_idle()  # the drive reported, serving goes on; then each clean-up step fails
        self.assertEqual(self.close_display(), (4, "", ("The command failed: " + HELD) * 3 + HELD))
        self.assertEqual(stranger.send((agent_port, 0, b"")) or stranger.recv(), 0, "nothing reached the stranger")

    def test_stranger_beside_a_running_server_gets_nothing_from_the_registration_on(self):
        stranger = self.stranger(self.peers.port)
        self.assertEqual(self.peers.run_agent(user=NOBODY), (0, "", HELD))
        self.assertEqual(self.peers.calls(), [], "nothing reached the server")
        self.assertEqual(stranger.send((self.peers.port, 0, b"")) or stranger.recv(), 0, "nothing reached the stranger")

    def test_two_floods_of_a_million_cost_nothing_and_fail_no_drive(self):
        self.start(user=NOBODY)
        self.peers.wait_agent_idle()
        pid, agent_port = self.peers.agent.pid, self.peers.agent_address()[1]
        floods, before = [self.stranger(0), self.stranger(0)], cpu_seconds(pid)
        for flood in floods:  # refusals that would fail a drive if it took one
            flood.send((agent_port, 1000000, reply_accepted(0, 0, u32(102) + ustr("error"))))
        for i in range(8):
            self.add(i + 1, "smb://pc1/D%d" % i)
            self.set_configs(i + 1)
        self.assertFalse(any(f.poll() for f in floods), "the drives were added during the floods")
        self.assertEqual([f.recv() for f in floods], [0, 0])
        cpu = cpu_seconds(pid) - before
        self.assertLess(cpu, 1.0, "the agent spent %.2f s of CPU on the floods" % cpu)
        rc, out, err = self.close_display()
        self.assertEqual((rc, err, out[:len(self.set_ok(8))]), (0, "", self.set_ok(8)))


class Names(AgentTest):
    def test_client_user_name_ends_at_its_first_zero_byte(self):
        self.start()
        self.add(1, "smb://pc1/C", user=base64.b64encode(b"al\0ice").decode())
        first = self.set_configs(1)[0]
        self.assertEqual((len(first), first[BASE + "pc1/winname"], first[BASE + "pc1/C/winname"]), (4, ["al"], ["al"]))

    def test_account_name_empty_or_not_utf8_ends_with_exit_3(self):
        if os.geteuid() != 0 or subprocess.run(["unshare", "--mount", "true"]).returncode != 0:
            self.skipTest("needs root and a private mount namespace to put its own user database in place")
        passwd = os.path.join(self.peers.dir, "passwd")
        mount = ["unshare", "--mount", "sh", "-c", 'mount --bind "$0" /etc/passwd && exec "$@"', passwd]
        # The current user named j\xFCrgen in Latin-1, then with no name at all, then with a Latin-1 home.
        for name, home in ((b"j\xfcrgen", b"/root"), (b"", b"/root"), (b"root", b"/home/j\xfcrgen")):
            with open(passwd, "wb") as f:
                f.write(b"%s:x:%d:%d::%s:/bin/sh\n" % (name, os.geteuid(), os.getegid(), home))
            self.assertEqual(self.peers.run_agent(prefix=mount), (3, "", "Failed to work out the current user\n"))
            self.assertEqual(self.peers.calls(), [], "nothing reaches the file server")
