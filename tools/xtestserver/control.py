#!/usr/bin/env python3
"""Client of the test display server's control socket, as a module and a CLI.

CLI:    control.py <socket> <command> [json object of arguments]
        prints the reply as one JSON line; exit status 0 when "ok", else 1.
Module: Control(path).call("add_device", device_id=1, uri="smb://pc1/C")
"""

import json
import socket
import sys


class ControlError(Exception):
    pass


class Control:
    def __init__(self, path, timeout=30.0):
        self.sock = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.sock.settimeout(timeout)
        self.sock.connect(path)
        self.file = self.sock.makefile("rwb")

    def call_raw(self, cmd, **args):
        args["cmd"] = cmd
        self.file.write((json.dumps(args) + "\n").encode())
        self.file.flush()
        line = self.file.readline()
        if not line:
            raise ControlError("control socket closed")
        return json.loads(line)

    def call(self, cmd, **args):
        reply = self.call_raw(cmd, **args)
        if not reply.get("ok"):
            raise ControlError("%s: %s" % (cmd, reply.get("error")))
        return reply

    def close(self):
        self.file.close()
        self.sock.close()


def main(argv):
    if len(argv) < 3:
        sys.stderr.write("usage: control.py <socket> <command> [json args]\n")
        return 2
    args = json.loads(argv[3]) if len(argv) > 3 else {}
    ctl = Control(argv[1])
    reply = ctl.call_raw(argv[2], **args)
    ctl.close()
    sys.stdout.write(json.dumps(reply) + "\n")
    return 0 if reply.get("ok") else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv))
