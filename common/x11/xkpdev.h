// Client side of the XKPDEV X extension: three raw requests and the event that
// Xlib's queue holds for the extension's first event code. Free functions over a
// borrowed display; a missing extension is reported through XMissingExtension and
// a return of 0. Declared without Xlib headers so that callers stay free of its macros.
#pragma once

struct _XDisplay;

namespace common::x11 {

// Event kinds carried in byte 4 of the extension's wire event.
enum XKPDevEventKind : unsigned char {
    kXKPDevInline = 0,  // the message travels in the event itself
    kXKPDevPending = 1, // the message waits on the server under the event's request id
};

// The converted extension event. Its head mirrors Xlib's XAnyEvent (type, serial,
// send_event, display) so that Xlib code reading a generic event stays in bounds.
struct XKPDevEvent {
    int type;
    unsigned long serial;
    int send_event;
    _XDisplay* display;
    unsigned char kind;
    int requestId;
    int inlineLength;
    unsigned char data[24];
};

// The name under which the X server offers the extension.
inline constexpr char kXKPDevExtensionName[] = "XKPDEV";

// Fills the extension's fields of *event (type, send flag, kind, request id, inline length and
// bytes) from one 32-byte wire event; serial and display are left to the caller, which owns the
// connection's sequence bookkeeping.
void XKPDevDecodeWireEvent(const unsigned char* wire, XKPDevEvent* event);

} // namespace common::x11

extern "C" {

// Minor opcode 0. Stores the server's version; returns 0 when the extension is
// missing or the reply failed.
int XXKPDevQueryVersion(_XDisplay* display, int* major, int* minor);

// Minor opcode 1. Fetches the message the server keeps under requestId. On
// success returns 1; *data is a malloc'ed block the caller releases with
// XXKPDevFreeRequest (none when the server had nothing), *length the message
// length in bytes (the block holds nothing after it). Xlib's own copy of the
// reply is wiped before this returns.
int XXKPDevGetRequest(_XDisplay* display, unsigned char** data, unsigned int* length,
                      unsigned short requestId);

// Wipes the first `length` bytes of a block from XXKPDevGetRequest (a request may
// carry credentials) and frees it; a null block is ignored. Then asks the server
// for a harmless reply (the keyboard mapping) as long as that request's as far as
// the key codes and Xlib's 4096-byte receive area allow, to overwrite the copy
// left there (one round trip; best effort, no guarantee).
void XXKPDevFreeRequest(_XDisplay* display, unsigned char* data, unsigned int length);

// Minor opcode 2. Sends one message; returns 1, or 0 without sending anything when the
// extension is missing or the message needs big requests the server does not offer.
int XXKPDevPutConfirm(_XDisplay* display, const unsigned char* data, unsigned int length);

// Makes sure the extension's per-display record (and so its event conversion)
// exists on this display; returns the extension's first event code, 0 when the
// extension is missing. The record's making is the one query for the extension.
int XXKPDevRegisterDisplay(_XDisplay* display);
}
