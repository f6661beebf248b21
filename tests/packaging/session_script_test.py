"""The X session start-up script, sourced by sh -e as Xsession does, starting the real agent
against the test display server and the file-server simulator."""

import os
import subprocess
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "e2e"))
from peers import AGENT, SOURCE_DIR, Peers, wait_for  # noqa: E402

SCRIPT = os.path.join(SOURCE_DIR, "packaging/90kpatdmcl")
# Stand-ins for systemd-cat: one whose journal answers (its stream is a file here), one whose does not.
JOURNAL = '#!/bin/sh\necho "$@" >> "$KP_DIR/journal.args"\n[ "$1" = -t ] && shift 2\n' \
          'while [ "${1#--}" != "$1" ]; do shift; done\nexec "$@" >> "$KP_DIR/journal" 2>&1\n'
NO_JOURNAL = '#!/bin/sh\necho "Failed to create stream fd: No such file or directory" >&2\nexit 1\n'
SESSION = 'set > "$KP_DIR/before"; . "$1"; echo $! > "$KP_DIR/pid"; set > "$KP_DIR/after"'


def read(path):
    with open(path) as f:
        return f.read()


def ended(pid):
    try:
        return " Z " in read("/proc/%d/stat" % pid)
    except OSError:  # gone, or reaped while we looked
        return True


class SessionScript(unittest.TestCase):
    def run_session(self, systemd_cat):
        """Sources the script with only the agent (and the given systemd-cat) on PATH; returns the
        folder holding the session's output, the agent's pid and the variables before and after."""
        p = Peers()
        self.addCleanup(p.close)
        bin_dir = os.path.join(p.dir, "bin")
        os.mkdir(bin_dir)
        os.symlink(AGENT, os.path.join(bin_dir, "kpatdmcl"))
        os.symlink("/bin/true", os.path.join(bin_dir, "true"))
        if systemd_cat:
            with open(os.path.join(bin_dir, "systemd-cat"), "w") as f:
                f.write(systemd_cat)
            os.chmod(os.path.join(bin_dir, "systemd-cat"), 0o755)
        env = {"PATH": bin_dir, "HOME": p.home, "DISPLAY": p.display, "KP_DIR": p.dir,
               "KPATDMCL_SERVERCFG": p.config()}
        with open(os.path.join(p.dir, "session"), "w") as out:
            subprocess.run(["/bin/sh", "-ec", SESSION, "sh", SCRIPT], env=env, stdout=out, stderr=out, check=True,
                           timeout=20)
        p.announce()
        p.x.call("add_device", device_id=1, uri="smb://pc1/C", user="YWxpY2U=", password="c2VjcmV0")
        wait_for(lambda: os.path.islink(p.link()), what="the agent to map the drive and make the home link")
        pid = int(read(os.path.join(p.dir, "pid")))
        p.x.call("close_client")
        wait_for(lambda: ended(pid), what="the agent to end with its display")
        self.assertEqual(read(os.path.join(p.dir, "before")), read(os.path.join(p.dir, "after")))
        return p.dir

    def test_lines_go_to_the_journal_when_it_answers(self):
        d = self.run_session(JOURNAL)
        self.assertIn("-t kpatdmcl --stderr-priority=err kpatdmcl --dmpdisplay", read(d + "/journal.args"))
        self.assertIn("Successfully set configuration for", read(d + "/journal"))
        self.assertEqual(read(d + "/session"), "")

    def test_lines_go_to_the_session_output_otherwise(self):
        for name, systemd_cat in (("no systemd-cat", None), ("journal unreachable", NO_JOURNAL)):
            with self.subTest(name):
                d = self.run_session(systemd_cat)
                self.assertIn("Successfully set configuration for", read(d + "/session"))


if __name__ == "__main__":
    unittest.main()
