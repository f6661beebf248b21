"""The agent end to end: the real binary against the test display server and the file-server
control simulator, over real sockets and the real libX11."""

import os
import pwd
import re
import subprocess
import unittest

from peers import AGENT, EMULATOR, Peers, wait_for

USER = pwd.getpwuid(os.geteuid()).pw_name
BASE = "nfsserver/shares/smb/%s/" % USER
ALICE, SECRET = "YWxpY2U=", "c2VjcmV0"  # "alice", "secret" in the program's Base64 alphabet
SET_OK = "Successfully set configuration for %s\nUser directory created at /srv/mnt/%s\n" % (USER, USER)


def keys_of(config_text):
    """Reads the entries of a configuration text: {key: [values]} (no escapes are expected here)."""
    return {k: re.findall(r"\(([^)]*)\)", v) for k, v in re.findall(r"\[([^=]*)=\{((?:\([^)]*\))*)\}\]", config_text)}


class AgentTest(unittest.TestCase):
    displays = 1
    tcp = ()  # the displays that also listen on TCP
    fssim_args = ()

    def setUp(self):
        self.peers = Peers(self.displays, self.tcp, self.fssim_args)
        self.addCleanup(self.peers.close)

    def add(self, device_id, uri, user=ALICE, password=SECRET):
        self.peers.x.call("add_device", device_id=device_id, uri=uri, user=user, password=password)

    def remove(self, device_id):
        self.peers.x.call("remove_device", device_id=device_id)

    def set_configs(self, count):
        return [keys_of(c["request"]["config"]) for c in self.peers.wait_calls(102, count)]

    def start(self, **kwargs):
        self.peers.start_agent(**kwargs)
        self.peers.announce()

    def close_display(self):
        """Drops the agent's display connection and returns how the agent ended: (rc, out, err)."""
        self.peers.x.call("close_client")
        return self.peers.finish_agent()


class CommandLine(unittest.TestCase):
    USAGE = b"Usage: kpatdmcl --dmpdisplay <display> [--servercfg <config>] [--delay <seconds>]\n"

    def run_agent(self, *args, timeout=20):
        p = subprocess.run([*EMULATOR, AGENT, *args], capture_output=True, timeout=timeout)
        return p.returncode, p.stdout, p.stderr

    def test_usage_errors_print_their_text_and_the_usage_line(self):
        for args, message in [
                ([], b"No arguments were specified\n"),
                (["--display", ":1"], b"Unknown argument: --display\n"),  # the first argument before the count
                (["--DMPDISPLAY", ":1"], b"Unknown argument: --DMPDISPLAY\n"),
                (["--dmpdisplay"], b"The wrong number of arguments were used: 1\n"),
                (["--dmpdisplay", ":1", "--delay"], b"The wrong number of arguments were used: 3\n"),
                (["--dmpdisplay", ":1"] + ["a"] * 6, b"The wrong number of arguments were used: 8\n")]:
            self.assertEqual(self.run_agent(*args), (1, b"", message + self.USAGE), args)
        rc, out, err = self.run_agent(b"--\xff\xfe")
        self.assertEqual((rc, out), (1, b""))
        self.assertTrue(err.startswith(b"Unknown argument: "), err)

    def test_delay_takes_the_leading_number(self):
        # A configuration file that does not exist ends the run with exit 3 right after the option scan
        # and the delay: "60x" is still asleep after 2 s, the others end at once.
        def run(value, timeout=20):
            return self.run_agent("--dmpdisplay", ":1", "--delay", value, "--servercfg", "/nonexistent/kp.prf",
                                  timeout=timeout)[0]
        self.assertRaises(subprocess.TimeoutExpired, run, "60x", timeout=2)
        for value in ("0", "abc", "-3", ""):
            self.assertEqual(run(value), 3, value)


class ConfigurationFailures(AgentTest):
    def expect_exit(self, config, code, message):
        rc, out, err = self.peers.run_agent(config=config)
        self.assertEqual((rc, err, out), (code, message, ""))
        self.assertEqual(self.peers.calls(), [], "nothing reaches the file server")

    def test_missing_keys_are_reported_in_key_order(self):
        for overrides, omit, text in [
                ({}, ["nfsserver/mount/port", "nfsserver/mount/realserver"], "No port number defined: nfsserver/mount/port"),
                ({}, ["nfsserver/mount/realserver"], "No server name defined: nfsserver/mount/realserver"),
                ({}, ["nfsserver/client/timeout"], "No client timeout defined: nfsserver/client/timeout"),
                ({"nfsserver/mount/mountpoint": ["/a", "/b"]}, [], "No server mountpoint defined: nfsserver/mount/mountpoint"),
                ({"nfsserver/user/symlinkname": ["a", "b"]}, [], "Invalid symlink name: nfsserver/user/symlinkname"),
                ({"nfsserver/user/symlinkdir": ["a", "b"]}, [], "Invalid symlink dir: nfsserver/user/symlinkdir")]:
            self.expect_exit(self.peers.config(overrides, omit), 3, 'Failed while parsing server config: "%s"\n' % text)

    def test_unreadable_file_and_connection_settings(self):
        p = self.peers
        missing = os.path.join(p.dir, "missing.prf")
        self.expect_exit(missing, 3, 'Failed to open personal configuration file: "%s"\n' % missing)
        self.expect_exit(p.config({"nfsserver/mount/realserver": ["no-such-host.invalid"]}), 2,
                         'Unable to work out server\'s IP address: "no-such-host.invalid"\n')
        for port in ("0", "abc", "65536"):
            self.expect_exit(p.config({"nfsserver/mount/port": [port]}), 3,
                             'Failed to work out which port to use: "%s"\n' % port)
        self.expect_exit(p.config({"nfsserver/client/timeout": ["0"]}), 3,
                         'Failed to work out timeout to use: "0"\n')


class Drives(AgentTest):
    def test_first_and_second_drive_on_one_host(self):
        self.start()
        self.add(1, "smb://PC1/C")
        first = self.set_configs(1)[0]
        self.assertEqual(sorted(first), sorted([BASE + "pc1/winname", BASE + "pc1/password",
                                                BASE + "pc1/C/winname", BASE + "pc1/C/password"]))
        self.assertEqual(first[BASE + "pc1/winname"], ["alice"])
        self.assertEqual(first[BASE + "pc1/C/winname"], ["alice"])
        password = first[BASE + "pc1/password"][0]
        self.assertRegex(password, r"^[0-9A-F]{16}$", "one enciphered block for a 6-byte password")
        self.assertEqual(first[BASE + "pc1/C/password"], [password])
        link = self.peers.link()
        wait_for(lambda: os.path.islink(link), what="home link")
        self.assertEqual(os.readlink(link), "/srv/mnt/%s/pc1" % USER)

        self.add(2, "smb://pc1/D")
        second = self.set_configs(2)[1]
        self.assertEqual(sorted(second), sorted([BASE + "pc1/D/winname", BASE + "pc1/D/password"]))
        self.add(3, "smb://pc2/E")
        self.set_configs(3)
        self.assertEqual(os.readlink(link), "/srv/mnt/%s/pc1" % USER, "the link keeps the first host")

        rc, out, err = self.close_display()
        self.assertEqual((rc, err), (0, ""))
        self.assertTrue(out.startswith(SET_OK * 3), out)

    def test_repeated_request_is_ignored_and_host_case_is_folded(self):
        self.start()
        self.add(1, "smb://PC1/C")
        self.set_configs(1)
        self.add(2, "smb://pc1/C")  # same drive: host differs only in case
        self.add(3, "smb://pc1/c")  # a share differing in case is another drive
        self.add(4, "smb://pc1/C", password="c2VjcmV0Mg==")  # another password is another drive
        self.add(5, "smb://pc2/E")  # handled after the others: its call comes last
        configs = self.set_configs(4)
        self.assertIn(BASE + "pc1/c/winname", configs[1])
        self.assertNotEqual(configs[2][BASE + "pc1/C/password"], configs[0][BASE + "pc1/C/password"])
        self.assertIn(BASE + "pc2/E/winname", configs[3])
        self.assertEqual(len(self.peers.calls(102)), 4)

    def test_removing_drives(self):
        self.start()
        self.add(1, "smb://pc1/C")
        self.add(2, "smb://pc1/D")
        self.set_configs(2)
        self.remove(1)
        third = self.set_configs(3)[2]
        self.assertEqual(third, {BASE + "pc1/C/winname": [""], BASE + "pc1/C/password": [""]})
        self.assertTrue(os.path.islink(self.peers.link()))
        self.remove(2)
        fourth = self.set_configs(4)[3]
        self.assertEqual(sorted(fourth), sorted([BASE + "pc1/D/winname", BASE + "pc1/D/password",
                                                 BASE + "pc1/winname", BASE + "pc1/password"]))
        self.assertTrue(all(v == [""] for v in fourth.values()), "withdrawn keys carry one empty value")
        flush = self.peers.wait_calls(101, 1)[0]["request"]
        self.assertEqual((flush["user"], flush["machine"]), (USER, "pc1"))
        wait_for(lambda: not os.path.lexists(self.peers.link()), what="link removed")
        self.remove(2)  # unknown now: nothing is sent
        rc, out, _ = self.close_display()
        self.assertEqual(rc, 0)
        self.assertIn("Successfully disconnected %s/pc1\n" % USER, out)
        self.assertEqual([c["proc"] for c in self.peers.calls()], [105, 102, 102, 102, 102, 101, 102, 106, 101], "each once")

    def test_burst_beyond_the_yield_limit_is_handled_without_further_traffic(self):
        # Events that Xlib has already queued are reported by no descriptor; they must still be taken up.
        self.start(env={"COMMON_X11_EVENTS_YIELD_LIMIT": "2"})
        for i in range(40):
            self.add(i + 1, "smb://pc1/S%d" % i)
        wait_for(lambda: self.peers.state()["calls"] >= 41, what="all 40 drives configured")

    def test_existing_entries_where_the_link_goes_are_kept(self):
        for i, (make, check) in enumerate([(lambda l: open(l, "w").close(), lambda l: os.path.isfile(l) and not os.path.islink(l)),
                            (lambda l: os.symlink("/nowhere/else", l), lambda l: not os.path.lexists(l))]):
            if i:
                self.setUp()
            link = self.peers.link()
            make(link)
            self.start()
            self.add(1, "smb://pc1/C")
            self.set_configs(1)
            self.assertFalse(os.path.islink(link) and os.readlink(link) != "/nowhere/else", "never replaced")
            self.close_display()
            self.assertTrue(check(link), "a regular file is never touched; a dangling link goes at the end")


class ServerReplies(AgentTest):
    def test_reply_starting_with_s_is_printed_as_it_is(self):
        self.peers.fs.call("mode", proc=102, mode="error", text="Server busy")
        self.start()
        self.add(1, "smb://pc1/C")
        self.add(2, "smb://pc1/D")
        self.set_configs(2)
        rc, out, _ = self.close_display()
        self.assertEqual(rc, 0)
        self.assertTrue(out.startswith("Server busyServer busy"), out)

    def test_refused_registration_ends_quietly(self):
        self.peers.fs.call("mode", proc=105, mode="error", text="no")
        rc, out, err = self.peers.run_agent()
        self.assertEqual((rc, out, err), (0, "", ""))
        self.assertEqual([c["proc"] for c in self.peers.calls()], [105])


class SecondDisplay(AgentTest):
    displays = 3
    tcp = (2,)

    def test_register_reply_with_result_2_opens_another_display(self):
        self.start()
        self.peers.wait_agent_idle()
        # Confined as it is (below), it still reaches further displays, by a Unix socket and over TCP.
        for i, name in ((1, self.peers.displays[1]), (2, "127.0.0.1" + self.peers.displays[2])):
            self.peers.fs.call("push", proc=105, result=2, display=name, error="")
            self.peers.controls[i].call("wait_client", count=1, timeout=10)
        if EMULATOR:
            self.skipTest("confinement: the emulator refuses to install a seccomp filter or a Landlock rule set")
        with open("/proc/%d/status" % self.peers.agent.pid) as f:
            self.assertRegex(f.read(), r"\nNoNewPrivs:\s+1\n(.*\n)*Seccomp:\s+2\n", "no new privileges, filtered")


if __name__ == "__main__":
    unittest.main()
