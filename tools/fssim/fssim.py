#!/usr/bin/env python3
"""File-server control simulator: an ONC RPC server on UDP for program 100003 version 2,
procedures 101 (flush sessions) to 106 (unregister user), for tests and demos of the agent.

Usage:
  fssim.py [--host 127.0.0.1] [--port 0] [--reuse-addr] [--port-file FILE] [--record FILE]
           [--control SOCKET] [--script FILE] [--mode PROC=MODE[:ARG]]... [--work SECONDS]
           [--drop COPIES]

  --port       UDP port to bind (0: the system picks one). When ready the port is printed on
               standard output as "PORT <n>" and written to --port-file (number and line feed).
  --reuse-addr sets SO_REUSEADDR on the UDP socket before binding, as some servers do (another
               socket with the option may then bind the same address and port while this one runs).
  --record     JSON-lines file receiving one object per received datagram (see "Record" below).
  --control    Unix-domain stream socket taking JSON-lines commands (see "Commands").
  --script     file of JSON-lines commands applied at start, before the port is announced.
  --mode       shortcut for {"cmd": "mode", "proc": PROC, "mode": MODE, ...}: ARG is the error text
               for "error", the display name for "display", the status for "refuse".
  --work       seconds every answered call takes (the server's work; nothing else is read meanwhile)
  --drop       shortcut for {"cmd": "drop", "copies": COPIES} (every call)
The UDP socket keeps the kernel's default receive buffer: what a burst leaves beyond it is dropped
by the kernel, as it would be for a real server with the same buffer (see the drops column of
/proc/net/udp).

Modes (per procedure, "proc": 101..106, or "*" for all):
  ok           answer success (the default)
  error        answer with the response's error text := "text"
  silent       send nothing
  garbage      send "garbage" undecodable datagrams (default 1) first, then the valid reply
  deny         a denied reply (reject status "reject", default 1 = authentication error)
  refuse       accepted with accept status "status" (default 1 = program unavailable)
  undecodable  accepted success whose result data does not decode as a control response
  display      105 only: result 2 with the display name "display" (the display is still registered)
Mode options: "xid_delta" (add to the reply's xid), "delay" (seconds before replying; other
datagrams and commands are served meanwhile), "gap" (seconds between the datagrams of one answer,
e.g. a garbage datagram and the reply), "hold" (the answer to a call's first copy goes out only
after the answer to the next datagram), "count" (apply to this many calls, then fall back to ok).
Every copy of a call (same sender and transaction identifier) is answered in the call's mode.

Commands (one JSON object per line on the control socket; every one is answered with one line,
{"ok": true, ...} or {"ok": false, "error": "..."}):
  {"cmd": "mode", "proc": 102, "mode": "error", "text": "error"}
  {"cmd": "sessions", "user": "u", "sessions": [{"name": "pc1", "details": [1,2,3,4,5]}, {"name": "pc2"}]}
  {"cmd": "push", "proc": 105, "result": 2, "display": ":5", "error": ""}   unsolicited reply to the
                                         last caller (the agent's request to open another display)
  {"cmd": "state"}     -> {"ok": true, "config": {user: {key: [values]}}, "displays": {user: [..]},
                           "sessions": {user: [..]}, "unregistered": [users], "calls": n}
  {"cmd": "calls"}     -> {"ok": true, "calls": [records]}
  {"cmd": "copies", "proc": 102} -> {"ok": true, "copies": n}: datagrams of the last call of the
                       procedure (102 when not given)
  {"cmd": "drop", "copies": 1, "count": 3}   leave the first COPIES datagrams of the next COUNT
                       calls (of every call without "count") unanswered; a copy is a datagram with
                       the sender and transaction identifier of an earlier one
  {"cmd": "reset"}     forget configuration, displays, sessions, calls and modes
  {"cmd": "quit"}

Record (one JSON object per datagram, in the --record file and from "calls"):
  {"seq", "t_ns" (arrival, time.monotonic_ns()), "from", "xid", "copy" (1 for the first datagram of
   a call, 2 for a repeat of it, ...), "rpcvers", "prog", "vers", "proc",
   "cred": {"flavour", "length", and for flavour 1: "stamp", "machinename", "uid", "gid", "gids"},
   "verf": {same}, "request": {"command", "user", "machine" | "config" | "display"},
   "mode", "reply": "ok|error|silent|...|prog_unavail|prog_mismatch|proc_unavail|garbage_args|none|dropped",
   "error": decode problem or null}
Configuration text sent with 102 is applied to the user's keys like the configuration database
does (each entry's key is cleared, then its values appended); 103 answers it back in text form.
"""

import argparse
import heapq
import itertools
import json
import os
import selectors
import socket
import struct
import sys
import time

PROGRAM = 100003
VERSION = 2
PROCS = range(101, 107)


# ---------------------------------------------------------------- configuration text


class ConfigError(Exception):
    pass


def parse_config(text):
    """Entries of a configuration text, as a list of (key, [values]) in order."""
    entries = []
    i, n = 0, len(text)

    def skip_irrelevant():
        nonlocal i
        while i < n:
            c = text[i]
            if c in "\t\r \n":
                i += 1
            elif c == "#":
                while i < n and text[i] != "\n":
                    i += 1
            else:
                break

    def read_until(stop):
        nonlocal i
        out = []
        while i < n:
            c = text[i]
            if c == "\\":
                if i + 1 >= n:
                    raise ConfigError("end of text after an escape")
                out.append(text[i + 1])
                i += 2
            elif c == stop:
                i += 1
                return "".join(out)
            else:
                out.append(c)
                i += 1
        raise ConfigError("end of text looking for %r" % stop)

    while True:
        while text.startswith("##", i):
            nl = text.find("\n", i)
            i = n if nl < 0 else nl + 1
        skip_irrelevant()
        if i >= n:
            return entries
        if text[i] != "[":
            raise ConfigError("found %r at %d looking for '['" % (text[i], i))
        i += 1
        key = read_until("=")
        skip_irrelevant()
        if i >= n or text[i] != "{":
            raise ConfigError("expected '{' at %d" % i)
        i += 1
        values = []
        while True:
            skip_irrelevant()
            if i < n and text[i] == "(":
                i += 1
                values.append(read_until(")"))
            elif i < n and text[i] == "}":
                i += 1
                break
            else:
                raise ConfigError("expected '(' or '}' at %d" % i)
        skip_irrelevant()
        if i >= n or text[i] != "]":
            raise ConfigError("expected ']' at %d" % i)
        i += 1
        entries.append((key, values))


def quote(text):
    return "".join("\\" + c if c in ")=\\" else c for c in text)


def config_text(keys):
    return "".join("[%s={%s}]\n" % (quote(k), "".join("(%s)" % quote(v) for v in vs)) for k, vs in keys.items())


# ---------------------------------------------------------------- wire helpers


class Short(Exception):
    pass


class Reader:
    def __init__(self, data):
        self.data, self.pos = data, 0

    def u32(self):
        if self.pos + 4 > len(self.data):
            raise Short("u32 at %d" % self.pos)
        (v,) = struct.unpack_from(">I", self.data, self.pos)
        self.pos += 4
        return v

    def opaque(self):
        length = self.u32()
        padded = (length + 3) & ~3
        if self.pos + padded > len(self.data):
            raise Short("opaque of %d at %d" % (length, self.pos))
        v = self.data[self.pos : self.pos + length]
        self.pos += padded
        return v

    def ustr(self):
        """A string of 16-bit little-endian units ended by a zero unit."""
        p = self.pos
        while True:
            if p + 2 > len(self.data):
                raise Short("unterminated string at %d" % self.pos)
            if self.data[p] == 0 and self.data[p + 1] == 0:
                break
            p += 2
        v = self.data[self.pos : p].decode("utf-16-le", errors="surrogatepass")
        self.pos = p + 2
        return v


def auth(reader):
    flavour = reader.u32()
    body = reader.opaque()
    out = {"flavour": flavour, "length": len(body)}
    if flavour == 1:
        r = Reader(body)
        out["stamp"] = r.u32()
        out["machinename"] = r.opaque().decode("utf-8", errors="replace")
        out["uid"] = r.u32()
        out["gid"] = r.u32()
        out["gids"] = [r.u32() for _ in range(r.u32())]
    return out


def u32(v):
    return struct.pack(">I", v & 0xFFFFFFFF)


def ustr(text):
    return text.encode("utf-16-le", errors="surrogatepass") + b"\0\0"


def reply_accepted(xid, status, payload=b""):
    return u32(xid) + u32(1) + u32(0) + u32(0) + u32(0) + u32(status) + payload


def reply_mismatch(xid, low, high):
    return u32(xid) + u32(1) + u32(0) + u32(0) + u32(0) + u32(2) + u32(low) + u32(high)


def reply_denied(xid, reject):
    body = u32(0) + u32(2) + u32(2) if reject == 0 else u32(reject) + u32(1)
    return u32(xid) + u32(1) + u32(1) + body


# A datagram that no reply reader accepts: a call message type and too short besides.
GARBAGE = b"\x00\x00\x00\x01\x00\x00\x00\x00garbage"


# ---------------------------------------------------------------- the server


class Simulator:
    def __init__(self, record_path, work=0.0):
        self.record = open(record_path, "a", encoding="utf-8") if record_path else None
        self.work = work
        self.outbox = []  # heap of (due, order, datagram, receiver): answers not sent yet
        self.order = itertools.count()
        self.reset()

    def reset(self):
        self.config = {}  # user -> {key: [values]}
        self.displays = {}  # user -> [display names]
        self.sessions = {}  # user -> [{"name", "details"}]
        self.unregistered = []
        self.calls = []
        self.modes = {}  # proc -> mode dict
        self.last_caller = None
        self.copies = {}  # (sender, xid) -> datagrams seen
        self.dropping = {}  # (sender, xid) -> copies of that call to leave unanswered
        self.drop, self.drop_calls = 0, None
        self.held = []  # (datagram, sender) answers waiting for the next answer
        self.call_modes = {}  # (sender, xid) -> the mode its first copy was answered in

    # -- control

    def command(self, cmd, udp):
        name = cmd.get("cmd")
        if name == "mode":
            mode = dict(cmd)
            mode.pop("cmd")
            procs = PROCS if mode.get("proc") == "*" else [int(mode["proc"])]
            if mode.get("mode") not in ("ok", "error", "silent", "garbage", "deny", "refuse", "undecodable", "display"):
                raise ValueError("unknown mode %r" % mode.get("mode"))
            for p in procs:
                self.modes[p] = dict(mode, proc=p)
            return {}
        if name == "sessions":
            self.sessions[cmd["user"]] = [
                {"name": s["name"], "details": s.get("details")} for s in cmd.get("sessions", [])
            ]
            return {}
        if name == "push":
            if not self.last_caller:
                raise ValueError("nobody has called yet")
            proc = int(cmd.get("proc", 105))
            payload = u32(proc)
            if proc in (105, 106):
                payload += u32(int(cmd.get("result", 2)))
            if proc == 105:
                payload += ustr(cmd.get("display", ""))
            payload += ustr(cmd.get("error", ""))
            udp.sendto(reply_accepted(int(cmd.get("xid", 0)), 0, payload), self.last_caller)
            return {}
        if name == "state":
            return {
                "config": self.config,
                "displays": self.displays,
                "sessions": self.sessions,
                "unregistered": self.unregistered,
                "calls": len(self.calls),
            }
        if name == "calls":
            return {"calls": self.calls}
        if name == "copies":
            proc = int(cmd.get("proc", 102))
            return {"copies": next((c["copy"] for c in reversed(self.calls) if c.get("proc") == proc), 0)}
        if name == "drop":
            self.drop = int(cmd.get("copies", 1))
            self.drop_calls = int(cmd["count"]) if "count" in cmd else None
            return {}
        if name == "reset":
            self.reset()
            return {}
        if name == "quit":
            raise SystemExit(0)
        raise ValueError("unknown command %r" % name)

    # -- calls

    def mode_for(self, proc):
        mode = self.modes.get(proc)
        if not mode:
            return {"mode": "ok"}
        if "count" in mode:
            mode["count"] = int(mode["count"]) - 1
            if mode["count"] <= 0:
                del self.modes[proc]
        return mode

    def handle(self, data, sender, udp):
        rec = {"seq": len(self.calls) + 1, "t_ns": time.monotonic_ns(), "from": "%s:%d" % sender,
               "error": None, "reply": "none"}
        replies = []
        mode, request_mode = None, False
        try:
            r = Reader(data)
            xid = rec["xid"] = r.u32()
            if r.u32() != 0:
                raise Short("not a call")
            rec["rpcvers"] = r.u32()
            rec["prog"] = r.u32()
            rec["vers"] = r.u32()
            proc = rec["proc"] = r.u32()
            rec["cred"] = auth(r)
            rec["verf"] = auth(r)
        except Short as e:
            rec["error"] = "call: %s" % e
            self.log(rec)
            return
        copy = rec["copy"] = self.copies[(sender, xid)] = self.copies.get((sender, xid), 0) + 1
        if copy == 1 and self.drop and self.drop_calls != 0:
            self.dropping[(sender, xid)] = self.drop
            self.drop_calls = None if self.drop_calls is None else self.drop_calls - 1
        if copy <= self.dropping.get((sender, xid), 0):
            rec["reply"] = "dropped"
            try:
                rec["request"] = self.decode_request(r)
            except Short:
                pass
            self.log(rec)
            return
        if self.work > 0:
            time.sleep(self.work)
        self.last_caller = sender
        if rec["prog"] != PROGRAM:
            rec["reply"] = "prog_unavail"
            replies.append(reply_accepted(xid, 1))
        elif rec["vers"] != VERSION:
            rec["reply"] = "prog_mismatch"
            replies.append(reply_mismatch(xid, VERSION, VERSION))
        elif proc not in PROCS:
            rec["reply"] = "proc_unavail"
            replies.append(reply_accepted(xid, 3))
        else:
            try:
                request = self.decode_request(r)
            except Short as e:
                request = None
                rec["error"] = "arguments: %s" % e
                rec["reply"] = "garbage_args"
                replies.append(reply_accepted(xid, 4))
            if request is not None:
                rec["request"] = request
                # A repeated copy of a call is answered as the call was: the mode is the call's.
                key = (sender, xid)
                mode = self.call_modes[key] if key in self.call_modes else self.mode_for(proc)
                self.call_modes[key], request_mode = mode, True
                rec["mode"] = mode["mode"]
                replies += self.answer(proc, xid + int(mode.get("xid_delta", 0)), request, mode, rec)
        self.log(rec)
        if request_mode and mode.get("hold") and copy == 1:
            self.held += [(datagram, sender) for datagram in replies]
            return
        due = time.monotonic() + (float(mode.get("delay", 0)) if request_mode else 0)
        gap = float(mode.get("gap", 0)) if request_mode else 0
        for i, datagram in enumerate(replies):
            heapq.heappush(self.outbox, (due + i * gap, next(self.order), datagram, sender))
        for datagram, to in self.held:
            heapq.heappush(self.outbox, (due + len(replies) * gap, next(self.order), datagram, to))
        self.held = []
        self.send_due(udp)

    def send_due(self, udp):
        """Sends the answers whose time has come; returns the seconds until the next (None: none)."""
        now = time.monotonic()
        while self.outbox and self.outbox[0][0] <= now:
            _, _, datagram, to = heapq.heappop(self.outbox)
            udp.sendto(datagram, to)
        return max(0.0, self.outbox[0][0] - now) if self.outbox else None

    @staticmethod
    def decode_request(r):
        command = r.u32()
        request = {"command": command, "user": r.ustr()}
        extra = {101: "machine", 102: "config", 105: "display"}.get(command)
        if extra:
            request[extra] = r.ustr()
        return request

    def answer(self, proc, xid, request, mode, rec):
        kind = mode["mode"]
        rec["reply"] = kind
        if kind == "silent":
            return []
        if kind == "deny":
            return [reply_denied(xid, int(mode.get("reject", 1)))]
        if kind == "refuse":
            return [reply_accepted(xid, int(mode.get("status", 1)))]
        if kind == "undecodable":
            # A command word and half a string: no terminating unit.
            return [reply_accepted(xid, 0, u32(proc) + b"\x41")]
        error = mode.get("text", "") if kind == "error" else ""
        user = request["user"]
        result, display, config, sessions = 0, "", "", []
        if not error:
            if proc == 101:
                machine = request["machine"]
                self.sessions[user] = [
                    s for s in self.sessions.get(user, []) if machine != "*" and s["name"].lower() != machine.lower()
                ]
            elif proc == 102:
                try:
                    entries = parse_config(request["config"])
                except ConfigError as e:
                    rec["config_error"] = str(e)
                    entries = []
                keys = self.config.setdefault(user, {})
                for key, values in entries:
                    keys[key] = list(values)
            elif proc == 105:
                self.displays.setdefault(user, []).append(request["display"])
                if user in self.unregistered:
                    self.unregistered.remove(user)
                if kind == "display":
                    result, display = 2, mode.get("display", "")
            elif proc == 106:
                self.displays.pop(user, None)
                if user not in self.unregistered:
                    self.unregistered.append(user)
        if proc == 103 and not error:
            config = config_text(self.config.get(user, {}))
        if proc == 104 and not error:
            sessions = self.sessions.get(user, [])
        payload = u32(proc)
        if proc == 103:
            payload += ustr(config)
        elif proc == 104:
            payload += u32(len(sessions))
            for s in sessions:
                payload += ustr(s["name"])
                if s.get("details"):
                    payload += b"\x01" + b"".join(u32(w) for w in s["details"])
                else:
                    payload += b"\x00"
        elif proc == 105:
            payload += u32(result) + ustr(display)
        elif proc == 106:
            payload += u32(result)
        payload += ustr(error)
        valid = reply_accepted(xid, 0, payload)
        if kind == "garbage":
            return [GARBAGE] * int(mode.get("garbage", 1)) + [valid]
        return [valid]

    def log(self, rec):
        self.calls.append(rec)
        if self.record:
            self.record.write(json.dumps(rec) + "\n")
            self.record.flush()


def main():
    ap = argparse.ArgumentParser(description="File-server control simulator (see the text at the top).")
    ap.add_argument("--host", default="127.0.0.1")
    ap.add_argument("--port", type=int, default=0)
    ap.add_argument("--reuse-addr", action="store_true")
    ap.add_argument("--port-file")
    ap.add_argument("--record")
    ap.add_argument("--control")
    ap.add_argument("--script")
    ap.add_argument("--mode", action="append", default=[])
    ap.add_argument("--work", type=float, default=0.0)
    ap.add_argument("--drop", type=int, default=0)
    args = ap.parse_args()

    sim = Simulator(args.record, args.work)
    sim.drop = args.drop
    udp = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    udp.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, int(args.reuse_addr))
    udp.bind((args.host, args.port))

    if args.script:
        with open(args.script, encoding="utf-8") as f:
            for line in f:
                if line.strip() and not line.lstrip().startswith("#"):
                    sim.command(json.loads(line), udp)
    for option in args.mode:
        proc, _, rest = option.partition("=")
        mode, _, arg = rest.partition(":")
        cmd = {"cmd": "mode", "proc": proc if proc == "*" else int(proc), "mode": mode}
        if arg:
            cmd[{"error": "text", "display": "display", "refuse": "status"}.get(mode, "arg")] = arg
        sim.command(cmd, udp)

    sel = selectors.DefaultSelector()
    sel.register(udp, selectors.EVENT_READ, "udp")
    if args.control:
        if os.path.exists(args.control):
            os.unlink(args.control)
        control = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        control.bind(args.control)
        control.listen(8)
        sel.register(control, selectors.EVENT_READ, "listen")

    port = udp.getsockname()[1]
    if args.port_file:
        with open(args.port_file + ".tmp", "w") as f:
            f.write("%d\n" % port)
        os.replace(args.port_file + ".tmp", args.port_file)
    print("PORT %d" % port, flush=True)

    buffers = {}
    try:
        while True:
            for key, _ in sel.select(sim.send_due(udp)):
                if key.data == "udp":
                    data, sender = udp.recvfrom(65536)
                    sim.handle(data, sender, udp)
                elif key.data == "listen":
                    conn, _ = key.fileobj.accept()
                    buffers[conn] = b""
                    sel.register(conn, selectors.EVENT_READ, "conn")
                else:
                    conn = key.fileobj
                    chunk = conn.recv(65536)
                    if not chunk:
                        sel.unregister(conn)
                        conn.close()
                        buffers.pop(conn, None)
                        continue
                    buffers[conn] += chunk
                    while b"\n" in buffers[conn]:
                        line, buffers[conn] = buffers[conn].split(b"\n", 1)
                        if not line.strip():
                            continue
                        try:
                            answer = dict(ok=True, **sim.command(json.loads(line), udp))
                        except SystemExit:
                            conn.sendall(b'{"ok": true}\n')
                            raise
                        except Exception as e:  # a bad command is answered, never fatal
                            answer = {"ok": False, "error": str(e)}
                        conn.sendall(json.dumps(answer).encode() + b"\n")
    except (SystemExit, KeyboardInterrupt):
        pass
    finally:
        if args.control and os.path.exists(args.control):
            os.unlink(args.control)


if __name__ == "__main__":
    main()
