"""Starts the agent's real peers for end-to-end tests: the test X display server and the
file-server control simulator, and runs the agent binary against them."""

import json
import os
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

SOURCE_DIR = os.environ.get("KP_SOURCE_DIR", os.path.abspath(os.path.join(os.path.dirname(__file__), "../..")))
AGENT = os.environ.get("KPATDMCL_BIN", os.path.join(SOURCE_DIR, "build/bin/kpatdmcl"))
EMULATOR = os.environ.get("KPATDMCL_EMULATOR", "").split()  # qemu-user, for a cross-built agent
sys.path.insert(0, os.path.join(SOURCE_DIR, "tools/xtestserver"))
from control import Control  # noqa: E402


def wait_for(predicate, timeout=10.0, what="condition"):
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline:
        value = predicate()
        if value:
            return value
        time.sleep(0.02)
    raise AssertionError("timed out waiting for " + what)


class Peers:
    """A temporary folder with a display server, a simulator, a home directory and a configuration."""

    def __init__(self, displays=1, tcp=(), fssim_args=()):
        self.dir = tempfile.mkdtemp(prefix="kp-e2e-")
        self.home = os.path.join(self.dir, "home")
        os.mkdir(self.home)
        self.procs = []
        self.displays = []
        self.controls = []
        for i in range(displays):
            path = os.path.join(self.dir, "x%d.sock" % i)
            proc = subprocess.Popen([sys.executable, os.path.join(SOURCE_DIR, "tools/xtestserver/xtestserver.py"),
                                     "--display", "auto", "--control", path, "--watch-parent"]
                                    + (["--tcp"] if i in tcp else []),
                                    stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
            self.procs.append(proc)
            line = proc.stdout.readline().split()
            assert line and line[0] == "READY", "display server did not start"
            self.displays.append(line[1])
            self.controls.append(Control(path))
        self.x = self.controls[0]
        self.display = self.displays[0]
        port_file = os.path.join(self.dir, "port")
        fs_sock = os.path.join(self.dir, "fs.sock")
        self.procs.append(subprocess.Popen([sys.executable, os.path.join(SOURCE_DIR, "tools/fssim/fssim.py"),
                                            "--port-file", port_file, "--control", fs_sock, *fssim_args],
                                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))
        wait_for(lambda: os.path.exists(port_file) and os.path.exists(fs_sock), what="simulator")
        with open(port_file) as f:
            self.port = int(f.read())
        self.fs = Control(fs_sock)  # the simulator answers the same JSON lines
        self.agent = None

    def config(self, overrides=None, omit=()):
        values = {"nfsserver/mount/port": [str(self.port)], "nfsserver/mount/realserver": ["127.0.0.1"],
                  "nfsserver/client/timeout": ["1"], "nfsserver/mount/mountpoint": ["/srv/mnt"],
                  "nfsserver/user/symlinkdir": [self.home]}
        values.update(overrides or {})
        text = "".join("[%s={%s}]\n" % (k, "".join("(%s)" % x for x in v)) for k, v in values.items() if k not in omit)
        path = os.path.join(self.dir, "client.prf")
        with open(path, "w") as f:
            f.write(text)
        return path

    def start_agent(self, config=None, display=None, env=None, prefix=(), user=None, args=()):
        """`prefix` is a command line that runs the agent's own (a namespace wrapper, say), `args` follow its options;
        `user`, an account (uid) to run it as, given the home, the displays and a copy of the agent."""
        environment = dict(os.environ)
        environment.update(env or {})
        agent, account = AGENT, {}
        if user is not None:
            os.chmod(self.dir, 0o755), os.chown(self.home, user, user)
            [os.chmod("/tmp/.X11-unix/X" + name[1:], 0o777) for name in self.displays]
            agent, account = shutil.copy(AGENT, self.dir), dict(user=user, group=user, extra_groups=[])
        self.agent = subprocess.Popen([*prefix, *EMULATOR, agent, "--dmpdisplay", display or self.display,
                                       "--servercfg", config or self.config(), *args],
                                      stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=environment, **account)
        return self.agent

    def run_agent(self, config=None, display=None, env=None, timeout=20, prefix=(), user=None):
        proc = self.start_agent(config, display, env, prefix, user)
        out, err = proc.communicate(timeout=timeout)
        return proc.returncode, out.decode(), err.decode()

    def wait_agent_idle(self):
        """Waits until the agent blocks in its event wait with nothing left to do: what was sent to it
        has been handled, and its memory is at rest."""
        path = "/proc/%d/syscall" % self.agent.pid
        pselect = {"x86_64": "270", "aarch64": "72"}.get(os.uname().machine)

        def syscall():
            try:
                with open(path) as f:
                    return f.read().split(" ", 1)[0]
            except OSError:
                return None

        def blocked():
            return syscall() == pselect
        if pselect is None or syscall() is None:  # another processor, or /proc hides it: best effort
            time.sleep(0.2)
            return
        # Twice in a row: a zero time-out poll between two handling turns is a pselect too.
        wait_for(lambda: blocked() and not time.sleep(0.05) and blocked(), what="agent idle in its wait")

    def finish_agent(self, timeout=20):
        out, err = self.agent.communicate(timeout=timeout)
        return self.agent.returncode, out.decode(), err.decode()

    def announce(self):
        """Waits for the agent's init indication on the display and answers with the init message."""
        self.x.call("wait_init", timeout=10)
        self.x.call("send_init")

    def calls(self, proc=None):
        calls = self.fs.call("calls")["calls"]
        return [c for c in calls if proc is None or c["proc"] == proc]

    def wait_calls(self, proc, count):
        return wait_for(lambda: len(self.calls(proc)) >= count and self.calls(proc), what="%d calls of %s" % (count, proc))

    def agent_address(self):
        """The agent's control socket as (host, port), from its first call to the simulator."""
        host, port = self.wait_calls(None, 1)[0]["from"].rsplit(":", 1)
        return host, int(port)

    def state(self):
        return self.fs.call("state")

    def link(self):
        return os.path.join(self.home, "My WEX Drives")

    def close(self):
        if self.agent and self.agent.poll() is None:
            self.agent.kill()
            self.agent.communicate()
        for c in self.controls:
            try:
                c.close()
            except OSError:
                pass
        self.fs.close()
        for p in self.procs:
            p.send_signal(signal.SIGTERM)
        for p in self.procs:
            try:
                p.wait(timeout=5)
            except subprocess.TimeoutExpired:
                p.kill()
            if p.stdout:
                p.stdout.close()
        shutil.rmtree(self.dir, ignore_errors=True)
