// rdp::XDisplay: an X display connection that opens itself, registers with the current dispatcher
// and tells a chain of rdp::XDisplayNotify listeners about opening and closing. Owns the connection
// (closed by Close or the destructor), borrows the listeners. Open reports failure as false;
// registering needs a current dispatcher (else it aborts, "Dispatcher::Get()").
#pragma once

#include "common/x11/xdisplaybase.h"

#include <map>
#include <utility>

namespace rdp {

class XDisplay;

// A listener in a chain: every callback's base version hands the call to the next listener, so a
// listener overrides only what it cares about.
class XDisplayNotify {
public:
    explicit XDisplayNotify(XDisplayNotify* next = nullptr) : m_pNext(next) {}
    virtual ~XDisplayNotify() = default;

    void SetNext(XDisplayNotify* next) { m_pNext = next; }
    XDisplayNotify* Next() const { return m_pNext; }

    virtual void OnDisplayOpen(XDisplay& display);
    virtual void OnDisplayOpened(XDisplay& display);
    virtual void OnDisplayClose(XDisplay& display);
    virtual void OnDisplayClosed(XDisplay& display);

private:
    XDisplayNotify* m_pNext;
};

// What the process-wide error handler passes on; Xlib's own error record stays inside common/x11.
struct XErrorInfo {
    unsigned long serial;
    unsigned char errorCode;
    unsigned char requestCode;
    unsigned char minorCode;
    unsigned long resourceId;
};

class IXErrorHandler {
public:
    virtual ~IXErrorHandler() = default;
    // Nonzero marks the error as handled.
    virtual int OnXError(_XDisplay* display, const XErrorInfo& error) = 0;
};

class XDisplay : public common::x11::XDisplayBase {
public:
    // Routes X protocol errors of chosen requests to their own handlers; every other error goes
    // to the handler that was installed before. One instance, installed at start-up.
    class X11ErrorHandler {
    public:
        X11ErrorHandler();
        ~X11ErrorHandler();
        X11ErrorHandler(const X11ErrorHandler&) = delete;
        X11ErrorHandler& operator=(const X11ErrorHandler&) = delete;

        static X11ErrorHandler& Instance();

        void Add(_XDisplay* display, unsigned long serial, IXErrorHandler* handler);
        void Remove(_XDisplay* display, unsigned long serial);
        void RemoveDisplay(_XDisplay* display);
        size_t Count() const { return m_handlers.size(); }
        // The Xlib error-handler entry point.
        int Dispatch(_XDisplay* display, void* xErrorEvent);

    private:
        std::map<std::pair<_XDisplay*, unsigned long>, IXErrorHandler*> m_handlers;
        void* m_pPrevious;
    };

    XDisplay();
    ~XDisplay() override;

    // Adds a listener at the head of the chain.
    void AddNotify(XDisplayNotify* notify);

    bool Open(const char* name);
    void Close();
    // Closes a connection already known to be gone: the final sync that closing does fails, and
    // that failure must not reach the process's I/O-error handler (which ends the process).
    void CloseLost();

    // Installs a hexadecimal MIT-MAGIC-COOKIE-1 for connections opened later; empty or null
    // does nothing.
    static void SetAuthorization(const char* hexCookie);
    // One round trip to the server (XSync), keeping queued events.
    void Sync();
    // Switches the keyboard's auto-repeat on or off.
    void SetAutoRepeat(bool on = true);
    // Index (0..7) of the modifier row holding the Mode_switch key, -1 when there is none.
    int FindModeswitchModifier();
    int ModeswitchModifier() const { return m_modeswitchModifier; }

    // Takes back the dispatcher registrations that Open made, for owners that read the connection
    // themselves. Aborts ("m_pStream") when the display is closed.
    void UnregisterEvents();

    // Installs the process's X I/O-error handler (Xlib ends the process after it returns).
    static void SetIOErrorHandler(int (*handler)(_XDisplay*));

private:
    XDisplayNotify m_notify;
    int m_modeswitchModifier = -1;
};

} // namespace rdp
