#include "common/x11/xkpdev.h"

#include <X11/Xlibint.h>
#include <X11/extensions/Xext.h>
extern "C" {
// Declared without C linkage in its header.
#include <X11/extensions/extutil.h>
}

#include <climits>
#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace {

using common::x11::XKPDevEvent;

enum : CARD8 {
    kQueryVersion = 0,
    kGetRequest = 1,
    kPutConfirm = 2,
};

// Request and reply layouts; every field sits at its natural wire offset.
struct QueryVersionReq {
    CARD8 reqType;
    CARD8 minor;
    CARD16 length;
};

struct QueryVersionReply {
    BYTE type;
    BYTE pad1;
    CARD16 sequenceNumber;
    CARD32 length;
    CARD16 majorVersion;
    CARD16 minorVersion;
    CARD32 pad2[5];
};

struct GetRequestReq {
    CARD8 reqType;
    CARD8 minor;
    CARD16 length;
    CARD16 unused;
    CARD16 requestId;
};

struct GetRequestReply {
    BYTE type;
    BYTE pad1;
    CARD16 sequenceNumber;
    CARD32 length;
    CARD32 messageLength;
    CARD32 pad2[5];
};

struct PutConfirmReq {
    CARD8 reqType;
    CARD8 minor;
    CARD16 length;
};

static_assert(sizeof(QueryVersionReply) == 32 && sizeof(GetRequestReply) == 32);
static_assert(sizeof(GetRequestReq) == 8 && sizeof(PutConfirmReq) == 4);

// Matches the 32-byte wire event; bytes 9..31 hold the inline message.
struct WireEvent {
    CARD8 type;
    CARD8 pad1;
    CARD16 sequenceNumber;
    CARD8 kind;
    CARD8 pad2;
    CARD16 requestId;
    CARD8 inlineLength;
    CARD8 data[23];
};
static_assert(sizeof(WireEvent) == sizeof(xEvent));
static_assert(sizeof(XKPDevEvent) <= sizeof(XEvent));

XExtensionInfo* g_extensionInfo = nullptr;

Bool WireToEvent(Display* dpy, XEvent* re, xEvent* event) {
    XKPDevEvent* out = reinterpret_cast<XKPDevEvent*>(re);
    common::x11::XKPDevDecodeWireEvent(reinterpret_cast<const unsigned char*>(event), out);
    out->serial = _XSetLastRequestRead(dpy, reinterpret_cast<xGenericReply*>(event));
    out->display = dpy;
    return True;
}

Status EventToWire(Display*, XEvent*, xEvent*) {
    return 0;
}

int CloseDisplay(Display* dpy, XExtCodes*) {
    return XextRemoveDisplay(g_extensionInfo, dpy);
}

XExtensionHooks g_hooks = {
    nullptr,      // create_gc
    nullptr,      // copy_gc
    nullptr,      // flush_gc
    nullptr,      // free_gc
    nullptr,      // create_font
    nullptr,      // free_font
    CloseDisplay, // close_display
    WireToEvent,  // wire_to_event
    EventToWire,  // event_to_wire
    nullptr,      // error
    nullptr,      // error_string
};

// Xlib frees its copy of a reply once the caller has read it, without clearing it. The allocator
// hands the block it took back last to the next request of the same size, so asking for that size at
// once and wiping what comes back clears the copy; should another block come back, one that held
// nothing is cleared, at no harm.
void WipeFreedReply(size_t size) {
    if (void* block = std::malloc(size)) {
        explicit_bzero(block, size);
        std::free(block);
    }
}

XExtDisplayInfo* FindDisplay(Display* dpy) {
    if (!g_extensionInfo) {
        g_extensionInfo = XextCreateExtension();
        if (!g_extensionInfo)
            return nullptr;
    }
    XExtDisplayInfo* info = XextFindDisplay(g_extensionInfo, dpy);
    if (!info)
        info = XextAddDisplay(g_extensionInfo, dpy, common::x11::kXKPDevExtensionName, &g_hooks, 1, nullptr);
    return info;
}

} // namespace

namespace common::x11 {

void XKPDevDecodeWireEvent(const unsigned char* wire, XKPDevEvent* event) {
    event->type = wire[0] & 0x7F;
    event->send_event = (wire[0] & 0x80) != 0;
    event->kind = wire[4];
    // The server writes in the client's byte order; the bytes need not be aligned.
    CARD16 requestId;
    std::memcpy(&requestId, wire + offsetof(WireEvent, requestId), sizeof requestId);
    event->requestId = requestId;
    event->inlineLength = wire[8];
    // 24 bytes from offset 9 reach one byte past the wire event; the inline length bounds the
    // message, so that byte never counts. Copy what exists and zero it.
    std::memcpy(event->data, wire + 9, sizeof(xEvent) - 9);
    event->data[sizeof(event->data) - 1] = 0;
}

} // namespace common::x11

extern "C" {

int XXKPDevRegisterDisplay(_XDisplay* dpy) {
    XExtDisplayInfo* info = FindDisplay(dpy);
    return XextHasExtension(info) ? info->codes->first_event : 0;
}

// Not called by the agent; the extension's version request; the agent needs no version.
int XXKPDevQueryVersion(_XDisplay* dpy, int* major, int* minor) {
    XExtDisplayInfo* info = FindDisplay(dpy);
    XextCheckExtension(dpy, info, common::x11::kXKPDevExtensionName, 0);

    LockDisplay(dpy);
    auto* req =
        static_cast<QueryVersionReq*>(_XGetRequest(dpy, info->codes->major_opcode, sizeof(QueryVersionReq)));
    req->minor = kQueryVersion;
    QueryVersionReply rep;
    const Status ok = _XReply(dpy, reinterpret_cast<xReply*>(&rep), 0, xTrue);
    UnlockDisplay(dpy);
    SyncHandle();
    if (!ok)
        return 0;
    *major = rep.majorVersion;
    *minor = rep.minorVersion;
    return 1;
}

int XXKPDevGetRequest(_XDisplay* dpy, unsigned char** data, unsigned int* length, unsigned short requestId) {
    XExtDisplayInfo* info = FindDisplay(dpy);
    XextCheckExtension(dpy, info, common::x11::kXKPDevExtensionName, 0);

    LockDisplay(dpy);
    auto* req =
        static_cast<GetRequestReq*>(_XGetRequest(dpy, info->codes->major_opcode, sizeof(GetRequestReq)));
    req->minor = kGetRequest;
    req->unused = 0;
    req->requestId = requestId;
    GetRequestReply rep;
    if (!_XReply(dpy, reinterpret_cast<xReply*>(&rep), 0, xFalse)) {
        UnlockDisplay(dpy);
        SyncHandle();
        return 0;
    }
    int result = 1;
    if (rep.length != 0) {
        const unsigned long bytes = static_cast<unsigned long>(rep.length) * 4;
        unsigned char* block = bytes <= INT_MAX ? static_cast<unsigned char*>(std::malloc(bytes)) : nullptr;
        if (block) {
            _XRead(dpy, reinterpret_cast<char*>(block), static_cast<long>(bytes));
            // The reply as Xlib's transport received it: the header and the block.
            WipeFreedReply(sizeof(xReply) + bytes);
            *data = block;
            // A server that claims more than it sent must not make the caller read
            // past the block.
            *length = rep.messageLength <= bytes ? rep.messageLength : static_cast<unsigned int>(bytes);
            // Nothing behind the message, so wiping its length clears the block.
            std::memset(block + *length, 0, bytes - *length);
        } else {
            _XEatDataWords(dpy, rep.length);
            result = 0;
        }
    }
    UnlockDisplay(dpy);
    SyncHandle();
    XFlush(dpy);
    return result;
}

void XXKPDevFreeRequest(_XDisplay* dpy, unsigned char* data, unsigned int length) {
    if (!data)
        return;
    explicit_bzero(data, length);
    XFree(data);
    // Without a connection nothing was received through Xlib, so nothing is left to overwrite.
    if (!dpy)
        return;
    // Xlib's transport reads into a fixed receive area and leaves what it copied out there until
    // later input overwrites it. The keyboard mapping is a reply whose length we choose (at least four
    // bytes per key code) and which reveals nothing; it lands at the start of the emptied area as the
    // request's reply did. The area is 4096 bytes: longer replies never sat in it whole. The reply is
    // discarded unread, so Xlib allocates nothing for the key symbols.
    int minCode = 0, maxCode = 0;
    XDisplayKeycodes(dpy, &minCode, &maxCode);
    const unsigned long kArea = 4096, kCodes = 256;
    const unsigned long received = sizeof(xReply) + ((static_cast<unsigned long>(length) + 3) & ~3UL);
    unsigned long codes = ((received < kArea ? received : kArea) - sizeof(xReply) + 3) / 4;
    if (codes == 0 || minCode < 8 || maxCode < minCode || maxCode >= static_cast<int>(kCodes))
        return;
    const unsigned long keys = static_cast<unsigned long>(maxCode) - static_cast<unsigned long>(minCode) + 1;
    if (codes > keys)
        codes = keys;
    LockDisplay(dpy);
    auto* req = static_cast<xGetKeyboardMappingReq*>(
        _XGetRequest(dpy, X_GetKeyboardMapping, sizeof(xGetKeyboardMappingReq)));
    req->firstKeyCode = static_cast<KeyCode>(minCode);
    req->count = static_cast<CARD8>(codes);
    xGetKeyboardMappingReply rep;
    (void)_XReply(dpy, reinterpret_cast<xReply*>(&rep), 0, xTrue); // a missing reply changes nothing
    UnlockDisplay(dpy);
    SyncHandle();
}

int XXKPDevPutConfirm(_XDisplay* dpy, const unsigned char* data, unsigned int length) {
    XExtDisplayInfo* info = FindDisplay(dpy);
    XextCheckExtension(dpy, info, common::x11::kXKPDevExtensionName, 0);

    const unsigned long words = 1 + (static_cast<unsigned long>(length) + 3) / 4;
    // A request too long for the 16-bit length field needs big requests; without them nothing is sent.
    if (words >= 65536 && !dpy->bigreq_size)
        return 0;
    LockDisplay(dpy);
    auto* req =
        static_cast<PutConfirmReq*>(_XGetRequest(dpy, info->codes->major_opcode, sizeof(PutConfirmReq)));
    req->minor = kPutConfirm;
    if (words < 65536) {
        req->length = static_cast<CARD16>(words);
    } else {
        // Extended length: the 16-bit field becomes 0 and a 32-bit count follows,
        // itself one more word of the request.
        req->length = 0;
        long extended = static_cast<long>(words + 1);
        _XData32(dpy, &extended, 4);
    }
    const unsigned long padded = (static_cast<unsigned long>(length) + 3) & ~3UL;
    if (dpy->bufptr + padded <= dpy->bufmax) {
        std::memcpy(dpy->bufptr, data, length);
        std::memset(dpy->bufptr + length, 0, padded - length);
        dpy->bufptr += padded;
    } else {
        _XSend(dpy, reinterpret_cast<const char*>(data), static_cast<long>(length));
    }
    UnlockDisplay(dpy);
    SyncHandle();
    XFlush(dpy);
    return 1;
}
}
