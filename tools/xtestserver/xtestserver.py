#!/usr/bin/env python3
"""A small X11 display server for tests and demos of the drive-mapping agent.

It answers the core requests that libX11 sends while opening a display and that
the agent sends afterwards, offers the XKPDEV extension (and BIG-REQUESTS), and
is driven through a control socket that speaks JSON lines (see control.py).
Every request and every message the clients send is recorded.

Usage: xtestserver.py [--display N|auto] [--displays COUNT] [--control PATH] [--record FILE]
                      [--tcp] [--no-xkpdev] [--no-bigreq] [--major N]
                      [--first-event N] [--modeswitch-row N] [--lifetime S]
                      [--watch-parent]
Prints "READY :<n> <control path>" on standard output once both sockets listen; with
--displays COUNT the one process serves COUNT displays (numbers claimed from --display on, or
automatically) and the second word lists them all, comma-separated (":41,:42,:43"). Client ids
are shared by all displays; every client records the display it connected to.
"""

import argparse
import asyncio
import hashlib
import json
import os
import signal
import socket
import struct
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import dmpwire  # noqa: E402

# Core request opcodes this server knows.
CORE_NAMES = {
    1: "CreateWindow", 2: "ChangeWindowAttributes", 4: "DestroyWindow", 16: "InternAtom",
    18: "ChangeProperty", 20: "GetProperty", 25: "SendEvent", 43: "GetInputFocus",
    55: "CreateGC", 56: "ChangeGC", 60: "FreeGC", 98: "QueryExtension", 99: "ListExtensions",
    101: "GetKeyboardMapping", 102: "ChangeKeyboardControl", 103: "GetKeyboardControl",
    119: "GetModifierMapping", 127: "NoOperation",
}
# Requests without a reply that are accepted silently (Xlib sends some of them
# unasked, e.g. the default GC of every screen).
SILENT = {1, 2, 4, 18, 25, 55, 56, 60, 102, 127}

MIN_KEYCODE = 8
MAX_KEYCODE = 255
MODESWITCH_KEYCODE = 203
KEYSYM_MODE_SWITCH = 0xFF7E
LAST_PREDEFINED_ATOM = 68
BIGREQ_MAX_LENGTH = 4 * 1024 * 1024 - 1
STORE_HEX_LIMIT = 4096

BAD_REQUEST = 1
BAD_VALUE = 2

XKPDEV_NAMES = {0: "QueryVersion", 1: "GetRequest", 2: "PutConfirm"}
# A GetRequest reply for an id the server holds nothing under: length 0, no data.
EMPTY_GET_REQUEST = (0, b"\0" * 24)


def now_ns():
    return time.monotonic_ns()


def pad4(n):
    return (4 - n % 4) % 4


class Recorder:
    def __init__(self, path):
        self.entries = []
        self.file = open(path, "a", buffering=1) if path else None

    def add(self, entry):
        entry["t"] = now_ns()
        self.entries.append(entry)
        if self.file:
            self.file.write(json.dumps(entry) + "\n")


class XClient(asyncio.Protocol):
    """One X connection: setup, then requests in sequence order."""

    def __init__(self, server, display):
        self.server = server
        self.display = display
        self.id = server.next_client_id()
        self.buf = bytearray()
        self.transport = None
        self.setup_done = False
        self.order = "<"
        self.seq = 0
        self.bigreq = False
        self.messages = []
        self.requests = 0
        self.closed = False
        self.init_seen = asyncio.Event()
        self.changed = asyncio.Event()

    # --- connection -------------------------------------------------------------------------
    def connection_made(self, transport):
        self.transport = transport
        self.server.clients[self.id] = self
        self.server.record({"client": self.id, "dir": "connect", "display": self.display})
        self.server.notify()

    def connection_lost(self, exc):
        self.closed = True
        self.server.record({"client": self.id, "dir": "disconnect"})
        self.server.notify()
        self.changed.set()

    def write(self, data):
        if not self.closed:
            self.transport.write(data)

    def data_received(self, data):
        self.buf += data
        try:
            self._drain()
        except Exception as exc:  # a broken client must not stop the server
            self.server.record({"client": self.id, "dir": "protocol_error", "error": repr(exc)})
            self.transport.close()

    def _drain(self):
        if not self.setup_done:
            if len(self.buf) < 12:
                return
            self.order = "<" if self.buf[0] == 0x6C else ">"
            _, _, _, n, d = struct.unpack_from(self.order + "BxHHHH", self.buf, 0)
            need = 12 + n + pad4(n) + d + pad4(d)
            if len(self.buf) < need:
                return
            del self.buf[:need]
            self.setup_done = True
            self.write(self._setup_reply())
        while len(self.buf) >= 4:
            length = struct.unpack_from(self.order + "H", self.buf, 2)[0]
            header = 4
            if length == 0:
                if not self.bigreq or len(self.buf) < 8:
                    if not self.bigreq:
                        raise ValueError("zero request length without big requests")
                    return
                length = struct.unpack_from(self.order + "I", self.buf, 4)[0]
                header = 8
            total = length * 4
            if total < header:
                raise ValueError("request length %d too small" % length)
            if len(self.buf) < total:
                return
            request = bytes(self.buf[:total])
            del self.buf[:total]
            self.seq += 1
            self.requests += 1
            self._handle(request, header, length)

    def _setup_reply(self):
        o = self.order
        vendor = b"kpatdmcl test display"
        formats = struct.pack(o + "BBBxxxxx", 1, 1, 32) + struct.pack(o + "BBBxxxxx", 24, 32, 32)
        visual = struct.pack(o + "IBBHIIIxxxx", 0x21, 4, 8, 256, 0xFF0000, 0xFF00, 0xFF)
        depth = struct.pack(o + "BxHxxxx", 24, 1) + visual
        screen = struct.pack(o + "IIIIIHHHHHHIBBBB", self.server.root, 0x20, 0xFFFFFF, 0,
                             0, 1024, 768, 270, 203, 1, 1, 0x21, 0, 0, 24, 1) + depth
        body = struct.pack(o + "IIIIHHBBBBBBBBxxxx", 11, self.id << 21, 0x1FFFFF, 0,
                           len(vendor), 65535, 1, 2, 0, 0, 32, 32, MIN_KEYCODE, MAX_KEYCODE)
        body += vendor + b"\0" * pad4(len(vendor)) + formats + screen
        return struct.pack(o + "BxHHH", 1, 11, 0, len(body) // 4) + body

    # --- requests -----------------------------------------------------------------------------
    def _reply(self, byte1, extra_words, body):
        """A reply: `body` holds bytes 8..31 and any data after the first 32 bytes."""
        head = struct.pack(self.order + "BBHI", 1, byte1, self.seq & 0xFFFF, extra_words)
        data = head + body
        if len(data) < 32:
            data += b"\0" * (32 - len(data))
        self.write(data)

    def _error(self, code, major, minor=0, value=0):
        self.write(struct.pack(self.order + "BBHIHB", 0, code, self.seq & 0xFFFF, value, minor, major)
                   + b"\0" * 21)

    def _handle(self, req, header, length):
        major, minor = req[0], req[1]
        xkpdev = major == self.server.xkpdev_major and self.server.xkpdev
        try:
            if xkpdev:
                self._handle_xkpdev(req, header, minor)
            else:
                self._answer(req, major, minor)
        finally:
            # Built and recorded after the answer went out, so that recording adds no latency.
            self.server.record(self._request_entry(req, header, length, xkpdev))

    def _request_entry(self, req, header, length, xkpdev):
        o = self.order
        major, minor = req[0], req[1]
        srv = self.server
        entry = {"client": self.id, "dir": "request", "seq": self.seq, "major": major,
                 "minor": minor, "length": length, "extended": header == 8}
        if xkpdev:
            entry["name"] = "XKPDEV." + XKPDEV_NAMES.get(minor, "Unknown")
            if minor == 1 and len(req) >= header + 4:
                entry["request_id"] = struct.unpack_from(o + "H", req, header + 2)[0]
        elif major == srv.bigreq_major and srv.bigreq:
            entry["name"] = "BIG-REQUESTS.Enable"
        else:
            entry["name"] = CORE_NAMES.get(major, "Unknown")
            if major == 98 and len(req) >= 8:
                n = struct.unpack_from(o + "H", req, 4)[0]
                entry["extension"] = req[8:8 + n].decode("latin-1")
        return entry

    def _answer(self, req, major, minor):
        o = self.order
        srv = self.server

        if major == 98:  # QueryExtension
            n = struct.unpack_from(o + "H", req, 4)[0]
            name = req[8:8 + n].decode("latin-1")
            present, op, ev = 0, 0, 0
            if name == "XKPDEV" and srv.xkpdev:
                present, op, ev = 1, srv.xkpdev_major, srv.first_event
            elif name == "BIG-REQUESTS" and srv.bigreq:
                present, op = 1, srv.bigreq_major
            self._reply(0, 0, struct.pack(o + "BBBB", present, op, ev, 0))
        elif major == srv.bigreq_major and srv.bigreq:
            self.bigreq = True
            self._reply(0, 0, struct.pack(o + "I", BIGREQ_MAX_LENGTH))
        elif major == 20:  # GetProperty: no property exists
            self._reply(0, 0, struct.pack(o + "III", 0, 0, 0))
        elif major == 16:  # InternAtom
            n = struct.unpack_from(o + "H", req, 4)[0]
            name = req[8:8 + n].decode("latin-1")
            atom = srv.atoms.get(name)
            if atom is None and not req[1]:
                atom = srv.intern(name)
            self._reply(0, 0, struct.pack(o + "I", atom or 0))
        elif major == 43:  # GetInputFocus: PointerRoot
            self._reply(1, 0, struct.pack(o + "I", 1))
        elif major == 101:  # GetKeyboardMapping
            first, count = req[4], req[5]
            per = 2
            syms = []
            for code in range(first, first + count):
                syms += srv.keysyms.get(code, [0, 0])
            self._reply(per, len(syms), b"\0" * 24 + struct.pack(o + "%dI" % len(syms), *syms))
        elif major == 119:  # GetModifierMapping: two keycodes per modifier
            rows = [[0, 0] for _ in range(8)]
            rows[0] = [50, 62]  # shift keys
            rows[srv.modeswitch_row][1] = MODESWITCH_KEYCODE
            flat = bytes(sum(rows, []))
            self._reply(2, len(flat) // 4, b"\0" * 24 + flat)
        elif major == 103:  # GetKeyboardControl
            self._reply(1, 5, b"\0" * 24 + b"\0" * 20)
        elif major == 99:  # ListExtensions
            names = [n for n, on in (("XKPDEV", srv.xkpdev), ("BIG-REQUESTS", srv.bigreq)) if on]
            data = b"".join(bytes([len(n)]) + n.encode() for n in names)
            data += b"\0" * pad4(len(data))
            self._reply(len(names), len(data) // 4, b"\0" * 24 + data)
        elif major in SILENT:
            pass
        else:
            self._error(BAD_REQUEST, major, minor)

    def get_request_reply(self, data):
        """What a GetRequest reply carries after its first 8 bytes, and its length in words:
        built when the message is stored, so that the fetch only adds the header."""
        return (len(data) + 3) // 4, (struct.pack(self.order + "I", len(data)) + b"\0" * 20 + data
                                      + b"\0" * pad4(len(data)))

    def _handle_xkpdev(self, req, header, minor):
        o = self.order
        srv = self.server
        if minor == 1:  # GetRequest, the hot one
            rid = struct.unpack_from(o + "H", req, header + 2)[0]
            stored = srv.pending.pop((self.id, rid), None)
            if stored is None:
                if srv.fail_unknown_id:
                    self._error(BAD_VALUE, req[0], minor, rid)
                    return
                stored = EMPTY_GET_REQUEST
            words, body = stored
            self.write(struct.pack(o + "BBHI", 1, 0, self.seq & 0xFFFF, words) + body)
        elif minor == 0:  # QueryVersion
            self._reply(0, 0, struct.pack(o + "HH", 1, 0))
        elif minor == 2:  # PutConfirm: one message, zero-padded
            payload = req[header:]
            first = not self.messages
            info = dmpwire.parse_message(payload, first)
            info.update({"client": self.id, "dir": "dmp", "seq": self.seq,
                         "padded_length": len(payload),
                         "sha256": hashlib.sha256(payload).hexdigest()})
            info["tail_hex"] = payload[-64:].hex()
            if len(info.get("hex", "")) > 2 * STORE_HEX_LIMIT:
                info["hex"] = info["hex"][:2 * STORE_HEX_LIMIT]
                info["hex_truncated"] = True
            self.messages.append(info)
            srv.record(info)
            if first:
                self.init_seen.set()
            self.changed.set()
            srv.notify()
        else:
            self._error(BAD_REQUEST, req[0], minor)

    # --- events -------------------------------------------------------------------------------
    def event(self, kind, request_id=0, data=b"", inline_length=None, code_offset=0, send_event=False):
        code = (self.server.first_event + code_offset) & 0x7F
        if send_event:
            code |= 0x80
        ilen = len(data) if inline_length is None else inline_length
        body = bytes(data[:23]) + b"\0" * (23 - min(len(data), 23))
        return struct.pack(self.order + "BxHBxHB", code, self.seq & 0xFFFF, kind, request_id & 0xFFFF,
                           ilen & 0xFF) + body


class Server:
    def __init__(self, args):
        self.args = args
        self.xkpdev = not args.no_xkpdev
        self.bigreq = not args.no_bigreq
        self.xkpdev_major = args.major
        self.bigreq_major = args.major + 1
        self.first_event = args.first_event
        self.modeswitch_row = args.modeswitch_row
        self.fail_unknown_id = False
        self.events_sent = False
        self.root = 0x100
        self.clients = {}
        self._next_client = 0
        self._next_request_id = 0
        self.pending = {}
        self.atoms = {"PRIMARY": 1, "SECONDARY": 2, "STRING": 31, "WM_NAME": 39,
                      "RESOURCE_MANAGER": 23}
        self.next_atom = LAST_PREDEFINED_ATOM + 1
        self.recorder = Recorder(args.record)
        self.changed = asyncio.Event()
        self.keysyms = {50: [0xFFE1, 0], 62: [0xFFE2, 0], MODESWITCH_KEYCODE: [KEYSYM_MODE_SWITCH, 0]}
        for i, ch in enumerate("qwertyuiop"):
            self.keysyms[24 + i] = [ord(ch), ord(ch.upper())]
        self.display = None
        self.displays = []
        self.paths = []
        self.stop = asyncio.Event()

    def next_client_id(self):
        self._next_client += 1
        return self._next_client

    def intern(self, name):
        self.atoms[name] = self.next_atom
        self.next_atom += 1
        return self.atoms[name]

    def record(self, entry):
        self.recorder.add(entry)

    def notify(self):
        self.changed.set()

    async def wait_change(self, deadline):
        self.changed.clear()
        left = deadline - time.monotonic()
        if left <= 0:
            raise TimeoutError()
        try:
            await asyncio.wait_for(self.changed.wait(), left)
        except asyncio.TimeoutError:
            raise TimeoutError()

    def new_request_id(self):
        self._next_request_id = self._next_request_id % 0xFFFF + 1
        return self._next_request_id

    # --- listening ----------------------------------------------------------------------------
    def claim_display(self):
        os.makedirs("/tmp/.X11-unix", exist_ok=True)
        try:
            os.chmod("/tmp/.X11-unix", 0o1777)
        except OSError:
            pass
        first = int(self.args.display) if self.args.display != "auto" else None
        if first is not None and self.args.displays == 1:
            candidates = [first]
        else:
            start = 40 if first is None else first
            candidates = range(start, start + 360 + self.args.displays)
        for n in candidates:
            if n in self.displays:
                continue
            lock = "/tmp/.X%d-lock" % n
            path = "/tmp/.X11-unix/X%d" % n
            try:
                fd = os.open(lock, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o444)
            except FileExistsError:
                continue
            os.write(fd, ("%10d\n" % os.getpid()).encode())
            os.close(fd)
            if os.path.exists(path):
                os.unlink(lock)
                continue
            if self.display is None:
                self.display = n
            self.displays.append(n)
            self.paths += [lock, path]
            return n, path
        raise SystemExit("xtestserver: no free display number")

    def cleanup(self):
        for path in self.paths:
            try:
                os.unlink(path)
            except OSError:
                pass

    async def run(self):
        loop = asyncio.get_running_loop()
        servers = []
        for _ in range(self.args.displays):
            n, xpath = self.claim_display()
            servers.append(await loop.create_unix_server(lambda n=n: XClient(self, n), xpath))
            if self.args.tcp:
                servers.append(await loop.create_server(lambda n=n: XClient(self, n), "127.0.0.1",
                                                        6000 + n))
        control = self.args.control or "/tmp/xtestserver-%d.sock" % self.display
        if os.path.exists(control):
            os.unlink(control)
        servers.append(await asyncio.start_unix_server(self.control_session, control, limit=1 << 26))
        self.paths.append(control)
        for sig in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            loop.add_signal_handler(sig, self.stop.set)
        print("READY %s %s" % (",".join(":%d" % n for n in self.displays), control), flush=True)
        if self.args.lifetime:
            loop.call_later(self.args.lifetime, self.stop.set)
        if self.args.watch_parent:
            parent = os.getppid()

            def check():
                if os.getppid() != parent:
                    self.stop.set()
                else:
                    loop.call_later(0.5, check)
            check()
        await self.stop.wait()
        for s in servers:
            s.close()
        for c in list(self.clients.values()):
            if not c.closed:
                c.transport.close()
        self.cleanup()

    # --- control ------------------------------------------------------------------------------
    async def control_session(self, reader, writer):
        try:
            await self._control_lines(reader, writer)
        except (asyncio.CancelledError, ConnectionError):
            pass
        finally:
            writer.close()

    async def _control_lines(self, reader, writer):
        while True:
            line = await reader.readline()
            if not line:
                break
            try:
                req = json.loads(line)
                cmd = req.pop("cmd")
                handler = getattr(self, "cmd_" + cmd, None)
                if handler is None:
                    raise ValueError("unknown command " + cmd)
                result = await handler(**req)
                if self.events_sent:
                    await self.serve_displays_first()
                reply = {"ok": True}
                reply.update(result or {})
            except TimeoutError:
                reply = {"ok": False, "error": "timeout"}
            except Exception as exc:
                reply = {"ok": False, "error": "%s: %s" % (type(exc).__name__, exc)}
            writer.write((json.dumps(reply) + "\n").encode())
            await writer.drain()

    def client(self, client=None):
        if client is None:
            live = [c for c in self.clients.values() if not c.closed]
            if not live:
                raise ValueError("no connected client")
            return live[-1]
        c = self.clients.get(int(client))
        if c is None:
            raise ValueError("no client %s" % client)
        return c

    async def cmd_info(self):
        return {"display": self.display, "displays": self.displays, "xkpdev": self.xkpdev, "bigreq": self.bigreq,
                "major": self.xkpdev_major, "first_event": self.first_event,
                "modeswitch_row": self.modeswitch_row, "modeswitch_keycode": MODESWITCH_KEYCODE,
                "pending": len(self.pending)}

    async def cmd_clients(self):
        return {"clients": [self._client_entry(c) for c in self.clients.values()]}

    @staticmethod
    def _client_entry(c):
        return {"client": c.id, "display": c.display, "closed": c.closed, "requests": c.requests,
                "messages": len(c.messages), "bigreq": c.bigreq,
                "init_t": c.messages[0]["t"] if c.messages else None}

    async def cmd_set(self, xkpdev=None, bigreq=None, fail_unknown_id=None):
        if xkpdev is not None:
            self.xkpdev = bool(xkpdev)
        if bigreq is not None:
            self.bigreq = bool(bigreq)
        if fail_unknown_id is not None:
            self.fail_unknown_id = bool(fail_unknown_id)
        return await self.cmd_info()

    async def cmd_wait_client(self, count=1, timeout=10.0):
        """Waits until `count` clients have connected in total; returns the newest."""
        deadline = time.monotonic() + timeout
        while len(self.clients) < count:
            await self.wait_change(deadline)
        return {"client": max(self.clients)}

    async def cmd_wait_init(self, client=None, timeout=10.0):
        deadline = time.monotonic() + timeout
        if client is None:
            while not any(c.messages for c in self.clients.values()):
                await self.wait_change(deadline)
            c = next(c for c in self.clients.values() if c.messages)
        else:
            c = self.client(client)
            while not c.messages:
                if c.closed:
                    raise ValueError("client %d closed" % c.id)
                await self.wait_change(deadline)
        return {"client": c.id, "message": c.messages[0]}

    async def cmd_wait_inits(self, count=1, timeout=10.0):
        """Waits until `count` clients have sent their first message; returns every client."""
        deadline = time.monotonic() + timeout
        while sum(1 for c in self.clients.values() if c.messages) < count:
            await self.wait_change(deadline)
        return await self.cmd_clients()

    async def cmd_wait_messages(self, client=None, count=1, timeout=10.0):
        c = self.client(client)
        deadline = time.monotonic() + timeout
        while len(c.messages) < count:
            await self.wait_change(deadline)
        return {"client": c.id, "messages": c.messages}

    async def cmd_wait_closed(self, client=None, timeout=10.0):
        c = self.client(client)
        deadline = time.monotonic() + timeout
        while not c.closed:
            await self.wait_change(deadline)
        return {"client": c.id}

    async def cmd_wait_request(self, name, client=None, count=1, timeout=10.0):
        """Waits until `count` requests called `name` were seen (from one client if given)."""
        deadline = time.monotonic() + timeout
        while True:
            seen = [e for e in self.recorder.entries if e.get("dir") == "request"
                    and e.get("name") == name and (client is None or e["client"] == int(client))]
            if len(seen) >= count:
                return {"requests": seen}
            await self.wait_change(deadline)

    async def cmd_messages(self, client=None):
        return {"client": self.client(client).id, "messages": self.client(client).messages}

    async def cmd_requests(self, client=None, since=0):
        out = [e for e in self.recorder.entries[since:]
               if e.get("dir") == "request" and (client is None or e["client"] == int(client))]
        return {"requests": out, "next": len(self.recorder.entries)}

    async def cmd_log(self, since=0):
        return {"entries": self.recorder.entries[since:], "next": len(self.recorder.entries)}

    def _deliver(self, c, message, mode, request_id=None, inline_length=None, code_offset=0,
                 send_event=False, kind=None):
        if mode == "id":
            rid = request_id if request_id is not None else self.new_request_id()
            self.pending[(c.id, rid)] = c.get_request_reply(message)
            ev = c.event(1 if kind is None else kind, rid, b"", 0, code_offset, send_event)
        elif mode == "inline":
            if len(message) > 23 and inline_length is None:
                raise ValueError("inline message longer than 23 bytes")
            rid = 0
            ev = c.event(0 if kind is None else kind, 0, message, inline_length, code_offset, send_event)
        else:
            raise ValueError("mode must be inline or id")
        return ev, rid

    def _send(self, c, events, what):
        t = now_ns()
        c.write(b"".join(events))
        self.events_sent = True
        self.record({"client": c.id, "dir": "event", "what": what, "count": len(events)})
        return t

    async def serve_displays_first(self):
        """Lets the display connections answer what the client sent in response to an event
        (a GetRequest, typically) before this control command's reply is built and written:
        the control socket is bookkeeping, the display is what a client waits on."""
        self.events_sent = False
        # The loop's next turn polls and queues the readable connections behind this task;
        # yielding once more lets them run first.
        await asyncio.sleep(0)
        await asyncio.sleep(0)

    async def cmd_send_init(self, client=None, major=1, minor=0, inline_length=None):
        c = self.client(client)
        ev, _ = self._deliver(c, dmpwire.init_message(major, minor), "inline", inline_length=inline_length)
        return {"sent_ns": self._send(c, [ev], "init")}

    async def cmd_add_device(self, client=None, mode="id", request_id=None, truncate=None, **fields):
        c = self.client(client)
        msg = dmpwire.add_device_request(**fields)
        if truncate is not None:
            msg = msg[:truncate]
        ev, rid = self._deliver(c, msg, mode, request_id)
        return {"sent_ns": self._send(c, [ev], "add_device"), "request_id": rid, "length": len(msg),
                "hex": msg.hex()}

    async def cmd_remove_device(self, client=None, device_id=0, opaque=0, mode="inline", truncate=None):
        c = self.client(client)
        msg = dmpwire.remove_device_request(device_id, opaque)
        if truncate is not None:
            msg = msg[:truncate]
        ev, rid = self._deliver(c, msg, mode)
        return {"sent_ns": self._send(c, [ev], "remove_device"), "request_id": rid, "hex": msg.hex()}

    async def cmd_send_raw(self, hex, client=None, mode="inline", request_id=None, inline_length=None,
                           code_offset=0, send_event=False, kind=None, count=1):
        """Raw message bytes, inline or by id; `count` copies go out in one write."""
        c = self.client(client)
        msg = bytes.fromhex(hex)
        events, ids = [], []
        for _ in range(int(count)):
            ev, rid = self._deliver(c, msg, mode, request_id, inline_length, code_offset, send_event, kind)
            events.append(ev)
            ids.append(rid)
        return {"sent_ns": self._send(c, events, "raw"), "request_ids": ids}

    async def cmd_burst(self, items, client=None):
        """Several messages in one write: items are objects with "hex" and the send_raw options."""
        c = self.client(client)
        events = []
        for it in items:
            it = dict(it)
            msg = bytes.fromhex(it.pop("hex"))
            ev, _ = self._deliver(c, msg, it.pop("mode", "inline"), **it)
            events.append(ev)
        return {"sent_ns": self._send(c, events, "burst")}

    async def cmd_send_wire(self, hex, client=None, count=1):
        """Any 32-byte event (core ones included); its sequence number is filled in."""
        c = self.client(client)
        ev = bytearray(bytes.fromhex(hex))
        if len(ev) != 32:
            raise ValueError("an event is 32 bytes")
        struct.pack_into(c.order + "H", ev, 2, c.seq & 0xFFFF)
        return {"sent_ns": self._send(c, [bytes(ev)] * int(count), "wire")}

    async def cmd_store(self, hex, client=None, request_id=None):
        """Keeps a message for a later GetRequest without sending an event."""
        c = self.client(client)
        rid = request_id if request_id is not None else self.new_request_id()
        self.pending[(c.id, rid)] = c.get_request_reply(bytes.fromhex(hex))
        return {"request_id": rid}

    async def cmd_close_client(self, client=None):
        c = self.client(client)
        c.transport.close()
        return {"client": c.id}

    async def cmd_shutdown(self):
        asyncio.get_running_loop().call_soon(self.stop.set)
        return {}


def main():
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("--display", default="auto")
    ap.add_argument("--displays", type=int, default=1)
    ap.add_argument("--control")
    ap.add_argument("--record")
    ap.add_argument("--tcp", action="store_true")
    ap.add_argument("--no-xkpdev", action="store_true")
    ap.add_argument("--no-bigreq", action="store_true")
    ap.add_argument("--major", type=int, default=140)
    ap.add_argument("--first-event", type=int, default=90)
    ap.add_argument("--modeswitch-row", type=int, default=7)
    ap.add_argument("--lifetime", type=float, default=0)
    ap.add_argument("--watch-parent", action="store_true")
    args = ap.parse_args()
    if not 1 <= args.displays <= 1000:
        ap.error("--displays must be between 1 and 1000")
    server = Server(args)
    try:
        asyncio.run(server.run())
    finally:
        server.cleanup()


if __name__ == "__main__":
    main()
