"""What the agent keeps in memory: once a drive is removed, no copy of its password is left in any
form (clear, as the client encoded it, as the file server received it), and it cannot be dumped."""

import base64
import os
import unittest

from agent_test import AGENT, AgentTest, keys_of

NOBODY = 65534  # another account, as on a shared server


def encode(password):
    return base64.b64encode(password.encode()).decode().replace("/", "-")  # the client's alphabet


def writable_memory(pid):
    with open("/proc/%d/maps" % pid) as maps, open("/proc/%d/mem" % pid, "rb", buffering=0) as mem:
        spans = [[int(x, 16) for x in f[0].split("-")] for f in map(str.split, maps) if "w" in f[1] and f[-1] != "[vvar]"]
        return b"".join(os.pread(mem.fileno(), end - start, start) for start, end in spans)


def sanitized(binary):
    with open(binary, "rb") as f:
        return b"__asan_init" in f.read()


@unittest.skipUnless(os.geteuid() == 0, "reading another process's memory needs root")
# The sanitizer's allocator keeps freed blocks aside unwiped and reserves terabytes of shadow memory;
# the plain build is the one whose memory is read.
@unittest.skipIf(sanitized(AGENT), "the agent is built with AddressSanitizer")
class SecretsInMemory(AgentTest):
    def cycle(self, device_id, password, keep=False):  # -> the converted password the server received
        sets = len(self.peers.calls(102))
        self.add(device_id, "smb://pc1/D%d" % device_id, password=encode(password))
        added = keys_of(self.peers.wait_calls(102, sets + 1)[-1]["request"]["config"])  # one drive's values
        if not keep:
            self.remove(device_id)
            self.peers.wait_calls(102, sets + 2)
        return next(v[0] for k, v in added.items() if k.endswith("/D%d/password" % device_id))

    def test_a_removed_drives_password_leaves_no_copy(self):
        p = self.peers
        self.start(user=NOBODY)
        # First drives (host entries, link, session flush), a short password that a standard string
        # would keep inside itself, then drives beside a live one.
        removed = {pw: self.cycle(i, pw) for i, pw in enumerate(("Qv1!Glacier-Tundra", "Zk2#pq", "Qv3!Tundra"), 1)}
        self.cycle(10, live := "Lv0!Orchard-Meadow", keep=True)
        removed.update({pw: self.cycle(i, pw) for i, pw in ((4, "Qv4!Glacier-Tundra"), (5, "Qv5!Tundra-Fjord"))})
        p.wait_agent_idle()
        memory = writable_memory(p.agent.pid)
        self.assertIn(encode(live).encode("utf-16-le"), memory, "the reading sees the live drive's record")
        found = ["%s: %s, %s" % (pw, text, codec) for pw, converted in removed.items()
                 for text in (pw, encode(pw), converted) for codec in ("ascii", "utf-16-le")
                 if text.encode(codec) in memory]
        self.assertEqual(found, [])
        # The /proc entries of a process that may not be dumped belong to root whoever runs it.
        self.assertEqual(os.stat("/proc/%d/status" % p.agent.pid).st_uid, 0, "the agent may be dumped")
