"""Builders and parsers for the device-mapping messages carried inside XKPDEV.

Written independently of the C++ message library so that tests compare two
separate implementations of the same byte layout. Every integer is
little-endian; texts are a length prefix followed by exactly that many bytes.
"""

import struct

ADD_DEVICE_REQ = 0
ADD_DEVICE_CONF = 1
REMOVE_DEVICE_REQ = 2
REMOVE_DEVICE_CONF = 3


def _bytes(value):
    """Accepts str (UTF-8), bytes, None, or {"hex": "..."} from JSON."""
    if value is None:
        return b""
    if isinstance(value, (bytes, bytearray)):
        return bytes(value)
    if isinstance(value, dict):
        return bytes.fromhex(value["hex"])
    return str(value).encode("utf-8")


def _t16(value):
    data = _bytes(value)
    return struct.pack("<H", len(data)) + data


def _t32(value):
    data = _bytes(value)
    return struct.pack("<I", len(data)) + data


def init_message(major=1, minor=0):
    return struct.pack("<BB", major, minor)


def add_device_request(device_id, uri, user="", password="", device_name="", display_name="",
                       device_info="", alt_name="", options_data="", chars=0, opt_flags=0,
                       config=(), opaque=None):
    """Add-device request; `config` is a list of (key, value) pairs."""
    op = list(opaque or [0] * 8) + [0] * 8
    body = b"".join([
        struct.pack("<I", device_id & 0xFFFFFFFF),
        _t16(device_name),
        _t16(display_name),
        struct.pack("<I", op[0]),
        struct.pack("<I", chars),
        struct.pack("<B", op[1] & 0xFF),
        struct.pack("<I", op[2]),
        _t16(uri),
        _t32(""),
        struct.pack("<B", op[3] & 0xFF),
        struct.pack("<I", op[4]),
        _t16(user),
        _t16(password),
        struct.pack("<I", op[5]),
        struct.pack("<I", op[6]),
        struct.pack("<H", opt_flags),
        _t16(alt_name),
        _t32(options_data),
        _t32(""),
        _t16(device_info),
        struct.pack("<H", len(config)),
        struct.pack("<I", op[7]),
    ] + [_t16(k) + _t32(v) for k, v in config])
    return struct.pack("<BI", ADD_DEVICE_REQ, 5 + len(body)) + body


def remove_device_request(device_id, opaque=0):
    return struct.pack("<BIII", REMOVE_DEVICE_REQ, 13, device_id & 0xFFFFFFFF, opaque)


def parse_init_indication(data):
    """Returns (dict, consumed length) or raises ValueError on a short message."""
    if len(data) < 4:
        raise ValueError("short init indication")
    major, minor, count = struct.unpack_from("<BBH", data, 0)
    pos = 4
    services = []
    for _ in range(count):
        if pos + 2 > len(data):
            raise ValueError("short service name length")
        (n,) = struct.unpack_from("<H", data, pos)
        pos += 2
        name = data[pos:pos + n]
        pos += n
        if pos + 2 > len(data):
            raise ValueError("short service value count")
        (m,) = struct.unpack_from("<H", data, pos)
        pos += 2
        values = list(data[pos:pos + m])
        pos += m
        if pos > len(data):
            raise ValueError("short service values")
        services.append({"name": name.decode("latin-1"), "values": values})
    return {"type": "init_indication", "major": major, "minor": minor, "services": services}, pos


def parse_message(data, first):
    """Decodes one message the agent sent. `data` may carry trailing padding."""
    if first:
        try:
            info, used = parse_init_indication(data)
            info["hex"] = data[:used].hex()
            return info
        except ValueError as exc:
            return {"type": "malformed", "error": str(exc), "hex": data.hex()}
    if len(data) < 5:
        return {"type": "malformed", "error": "short header", "hex": data.hex()}
    code, total = struct.unpack_from("<BI", data, 0)
    body = data[:total] if 5 <= total <= len(data) else data
    info = {"type_code": code, "length": total, "hex": body.hex()}
    names = {ADD_DEVICE_CONF: "add_device_conf", REMOVE_DEVICE_CONF: "remove_device_conf"}
    info["type"] = names.get(code, "unknown")
    if code in names and len(data) >= 10:
        info["device_id"] = struct.unpack_from("<I", data, 5)[0]
        info["status"] = data[9]
    return info
