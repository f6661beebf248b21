#include "common/x11/xdisplay.h"

#include "foundation/string/zrhexdigits.h"
#include "framework/dispatch/dispatch.h"
#include "framework/network/socketstream.h"

#include <X11/Xlib.h>
#include <X11/keysym.h>

#include <cstring>
#include <vector>

namespace rdp {

namespace {

using XlibErrorHandler = int (*)(Display*, XErrorEvent*);

int OnXlibError(Display* display, XErrorEvent* error) {
    return XDisplay::X11ErrorHandler::Instance().Dispatch(display, error);
}

// A character that is no hexadecimal digit counts as 0.
int HexDigit(char c) {
    const int value = ZrHexValue(c);
    return value < 0 ? 0 : value;
}

int IgnoreIOError(Display*) {
    return 0;
}

void ContinueAfterIOError(Display*, void*) {}

// Installed while the program starts, so that every display ever opened reports through it.
XDisplay::X11ErrorHandler g_errorHandler;

} // namespace

void XDisplayNotify::OnDisplayOpen(XDisplay& display) {
    if (m_pNext)
        m_pNext->OnDisplayOpen(display);
}

void XDisplayNotify::OnDisplayOpened(XDisplay& display) {
    if (m_pNext)
        m_pNext->OnDisplayOpened(display);
}

void XDisplayNotify::OnDisplayClose(XDisplay& display) {
    if (m_pNext)
        m_pNext->OnDisplayClose(display);
}

void XDisplayNotify::OnDisplayClosed(XDisplay& display) {
    if (m_pNext)
        m_pNext->OnDisplayClosed(display);
}

XDisplay::X11ErrorHandler::X11ErrorHandler()
    : m_pPrevious(reinterpret_cast<void*>(XSetErrorHandler(OnXlibError))) {}

XDisplay::X11ErrorHandler::~X11ErrorHandler() {
    XSetErrorHandler(reinterpret_cast<XlibErrorHandler>(m_pPrevious));
}

XDisplay::X11ErrorHandler& XDisplay::X11ErrorHandler::Instance() {
    return g_errorHandler;
}

// Not called by the agent; routes one request's X errors to a handler; the agent sends no such request.
void XDisplay::X11ErrorHandler::Add(_XDisplay* display, unsigned long serial, IXErrorHandler* handler) {
    m_handlers[{display, serial}] = handler;
}

// Not called by the agent; the counterpart of Add.
void XDisplay::X11ErrorHandler::Remove(_XDisplay* display, unsigned long serial) {
    m_handlers.erase({display, serial});
}

void XDisplay::X11ErrorHandler::RemoveDisplay(_XDisplay* display) {
    auto it = m_handlers.lower_bound({display, 0});
    while (it != m_handlers.end() && it->first.first == display)
        it = m_handlers.erase(it);
}

int XDisplay::X11ErrorHandler::Dispatch(_XDisplay* display, void* xErrorEvent) {
    auto* error = static_cast<XErrorEvent*>(xErrorEvent);
    auto it = m_handlers.find({display, error->serial});
    if (it != m_handlers.end() && it->second) {
        const XErrorInfo info{error->serial, error->error_code, error->request_code, error->minor_code,
                              error->resourceid};
        if (it->second->OnXError(display, info))
            return 1;
    }
    auto previous = reinterpret_cast<XlibErrorHandler>(m_pPrevious);
    return previous ? previous(display, error) : 0;
}

XDisplay::XDisplay() = default;

XDisplay::~XDisplay() {
    Close();
}

// Not called by the agent; a further listener for the display; the agent has one, given at construction.
void XDisplay::AddNotify(XDisplayNotify* notify) {
    notify->SetNext(m_notify.Next());
    m_notify.SetNext(notify);
}

bool XDisplay::Open(const char* name) {
    m_notify.OnDisplayOpen(*this);
    Display* display = XOpenDisplay(name);
    if (!display)
        return false;
    Attach(display);
    dispatch::Dispatch(Stream().WaitableInput().Waitable(), [this] { HandleEvents(); });
    dispatch::Dispatch(FastEvent(), [this] { HandleEvents(); });
    m_notify.OnDisplayOpened(*this);
    FindModeswitchModifier();
    return true;
}

void XDisplay::UnregisterEvents() {
    dispatch::Undispatch(FastEvent());
    dispatch::Undispatch(Stream().WaitableInput().Waitable());
}

void XDisplay::SetIOErrorHandler(int (*handler)(_XDisplay*)) {
    XSetIOErrorHandler(handler);
}

void XDisplay::CloseLost() {
    Display* display = GetDisplay();
    if (!display)
        return;
    // Xlib reports the broken connection once, through the process-wide handler and then the
    // display's exit handler; both are made harmless for the length of the close.
    XIOErrorHandler previous = XSetIOErrorHandler(IgnoreIOError);
    XSetIOErrorExitHandler(display, ContinueAfterIOError, nullptr);
    Close();
    XSetIOErrorHandler(previous);
}

void XDisplay::Close() {
    Display* display = GetDisplay();
    if (!display)
        return;
    m_notify.OnDisplayClose(*this);
    X11ErrorHandler::Instance().RemoveDisplay(display);
    // Registrations must not outlive the stream whose wait object they watch.
    if (auto* dispatcher = dispatch::DispatcherBase::Get()) {
        dispatcher->RemoveWaitable(FastEvent());
        if (HasStream())
            dispatcher->RemoveWaitable(Stream().WaitableInput().Waitable());
    }
    XCloseDisplay(display);
    Detach();
    m_notify.OnDisplayClosed(*this);
}

// Not called by the agent, which leaves authorization to Xlib; installs a given cookie.
void XDisplay::SetAuthorization(const char* hexCookie) {
    if (!hexCookie || !*hexCookie)
        return;
    const size_t length = std::strlen(hexCookie) / 2;
    std::vector<char> cookie(length);
    for (size_t i = 0; i < length; ++i)
        cookie[i] = static_cast<char>(HexDigit(hexCookie[2 * i]) << 4 | HexDigit(hexCookie[2 * i + 1]));
    char method[] = "MIT-MAGIC-COOKIE-1";
    XSetAuthorization(method, static_cast<int>(sizeof(method) - 1), cookie.data(), static_cast<int>(length));
}

// Not called by the agent; completes the display class (a round trip to the X server).
void XDisplay::Sync() {
    if (GetDisplay())
        XSync(GetDisplay(), False);
}

// Not called by the agent; completes the display class (keyboard auto-repeat).
void XDisplay::SetAutoRepeat(bool on) {
    if (!GetDisplay())
        return;
    XKeyboardControl control;
    control.auto_repeat_mode = on ? AutoRepeatModeOn : AutoRepeatModeOff;
    XChangeKeyboardControl(GetDisplay(), KBAutoRepeatMode, &control);
}

int XDisplay::FindModeswitchModifier() {
    m_modeswitchModifier = -1;
    Display* display = GetDisplay();
    if (!display)
        return -1;
    const KeyCode code = XKeysymToKeycode(display, XK_Mode_switch);
    XModifierKeymap* map = XGetModifierMapping(display);
    if (!map)
        return -1;
    for (int row = 0; row < 8 && code != 0; ++row) {
        for (int i = 0; i < map->max_keypermod; ++i) {
            if (map->modifiermap[row * map->max_keypermod + i] == code) {
                m_modeswitchModifier = row;
                break;
            }
        }
        if (m_modeswitchModifier >= 0)
            break;
    }
    XFreeModifiermap(map);
    return m_modeswitchModifier;
}

} // namespace rdp
