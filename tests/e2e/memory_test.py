"""What the agent keeps in memory: once a drive is removed, no copy of its password is left in any
form (clear bytes, the encoded text the client sent, the converted text the file server receives),
and the process cannot be dumped or traced."""

import base64
import os
import pwd
import re
import subprocess
import unittest

from agent_test import AgentTest, keys_of
from peers import AGENT


def encode(password):
    """The client's encoding of a password: Base64 with "-" in place of "/"."""
    return base64.b64encode(password.encode()).decode().replace("/", "-")


def writable_memory(pid):
    """The bytes of every writable mapping of the process (heap, stacks, data, anonymous maps)."""
    chunks = []
    with open("/proc/%d/maps" % pid) as maps, open("/proc/%d/mem" % pid, "rb", buffering=0) as mem:
        for line in maps:
            fields = line.split()
            if "w" not in fields[1] or (len(fields) > 5 and fields[5] == "[vvar]"):
                continue
            start, end = (int(x, 16) for x in fields[0].split("-"))
            try:
                mem.seek(start)
                chunks.append(mem.read(end - start))
            except OSError:
                pass  # a mapping that went away or cannot be read (guard pages)
    return b"".join(chunks)


NOBODY = 65534


@unittest.skipUnless(os.geteuid() == 0, "reading another process's memory needs root")
class SecretsInMemory(AgentTest):
    def start_as_nobody(self):
        """Runs the agent under another account, as on a shared server, so that /proc shows whether
        it may be dumped: the entries of a process that may not belong to root whoever runs it."""
        p = self.peers
        os.chmod(p.dir, 0o755)
        os.chown(p.home, NOBODY, NOBODY)
        os.chmod("/tmp/.X11-unix/X" + p.display.lstrip(":"), 0o777)
        p.agent = subprocess.Popen([AGENT, "--dmpdisplay", p.display, "--servercfg", p.config()],
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, user=NOBODY, group=NOBODY,
                                   extra_groups=[])
        p.announce()
        return pwd.getpwuid(NOBODY).pw_name

    def cycle(self, device_id, password):
        """Adds one drive and removes it again; returns the converted password the server received."""
        sets = len(self.peers.calls(102))
        self.add(device_id, "smb://pc1/D%d" % device_id, password=encode(password))
        added = keys_of(self.peers.wait_calls(102, sets + 1)[-1]["request"]["config"])
        self.remove(device_id)
        self.peers.wait_calls(102, sets + 2)
        return added["nfsserver/shares/smb/%s/pc1/D%d/password" % (self.user, device_id)][0]

    def test_a_removed_drives_password_leaves_no_copy(self):
        self.user = self.start_as_nobody()
        removed = {}
        # First drives (host entries, link and session flush on every removal), then drives beside a
        # live one; a short password as well, which a standard string keeps inside itself.
        for i, password in ((1, "Qv1!Glacier-Tundra-1"), (2, "Zk2#pq"), (3, "Qv3!Glacier-Tundra-3")):
            removed[password] = self.cycle(i, password)
        live, sets = "Lv0!Orchard-Meadow-0", len(self.peers.calls(102))
        self.add(10, "smb://pc1/LIVE", password=encode(live))
        self.peers.wait_calls(102, sets + 1)
        for i in (4, 5):
            password = "Qv%d!Glacier-Tundra-%d" % (i, i)
            removed[password] = self.cycle(i, password)
        self.peers.wait_agent_idle()
        pid = self.peers.agent.pid

        memory = writable_memory(pid)
        self.assertIn(encode(live).encode("utf-16-le"), memory, "the reading sees the live drive's record")
        found = []
        for password, converted in removed.items():
            self.assertRegex(converted, r"^[0-9A-F]{16,}$")
            for form, text in (("clear", password), ("encoded", encode(password)), ("converted", converted)):
                for codec in ("ascii", "utf-16-le"):
                    count = len(re.findall(re.escape(text.encode(codec)), memory))
                    if count:
                        found.append("%s: %s form, %s, %d time(s)" % (password, form, codec, count))
        self.assertEqual(found, [])
        self.assertEqual(os.stat("/proc/%d/status" % pid).st_uid, 0, "the agent may be dumped or traced")
