#include "dmp/dmpmanager.h"

#include "dmp/dmpexitcode.h"
#include "framework/dispatch/dispatch.h"
#include "framework/network/socketstream.h"
#include "framework/platform/dispatcher.h"

#include <memory>
#include <utility>

namespace {

std::function<int(int)>& Ending() {
    static std::function<int(int)> ending;
    return ending;
}

// Ends the process for `cause` through the program's ending (its clean-up), or directly without one.
[[noreturn]] void End(int cause) {
    platform::Process::Exit(Ending() ? Ending()(cause) : cause);
}

} // namespace

DMPManager::DMPManager(IDMPEnumNotify& controller) : m_controller(controller) {
    rdp::XDisplay::SetIOErrorHandler(&DMPManager::FatalError);
}

DMPManager::~DMPManager() = default;

void DMPManager::SetEnding(std::function<int(int)> ending) {
    Ending() = std::move(ending);
}

int DMPManager::FatalError(_XDisplay*) {
    // Xlib would end the process on return: the display is gone all the same, so the ending is the
    // one the main loop gives a closed display.
    if (Ending())
        End(0);
    return 0;
}

bool DMPManager::AddDisplay(const char* name, IDMPEnumNotify* notify) {
    const std::string wanted = name ? name : "";
    for (const auto& entry : m_displays) {
        if (entry.first->Name() == wanted)
            return true;
    }
    auto display = std::make_unique<DMPDisplay>(name, this);
    if (!display->Open(name))
        return false;
    // A DMP display is read only through OnReadable and Process.
    display->UnregisterEvents();
    return AddDisplay(display.release(), notify ? notify : &m_controller);
}

bool DMPManager::AddDisplay(DMPDisplay* display, IDMPEnumNotify* notify) {
    DisplayEntry entry{std::unique_ptr<DMPDisplay>(display), nullptr};
    entry.endpoint = std::make_unique<DMPEnum>(*display, notify);
    // The endpoint has said so; a display without the extension leaves nothing to serve.
    if (!entry.endpoint->HasExtension())
        End(kExitDisplayUnavailable);
    dispatch::Dispatch(display->Stream().WaitableInput().Waitable(), [display] { display->OnReadable(); });
    if (!m_pActive) {
        entry.endpoint->Init();
        m_pActive = display;
    }
    m_displays.emplace(display, std::move(entry));
    return true;
}

void DMPManager::Process() {
    // Only what Xlib holds already: the display's socket callback is the one reader of the connection,
    // and it sees a closed one before Xlib does.
    if (m_pActive)
        m_pActive->HandleQueuedEvents();
}

void DMPManager::OnDMPDisplayReadError(DMPDisplay* display) {
    if (display->HasStream())
        dispatch::Undispatch(display->Stream().WaitableInput().Waitable());
    auto it = m_displays.find(display);
    if (it != m_displays.end()) {
        if (m_pActive == display)
            m_pActive = nullptr;
        // Its devices go with the endpoint, without removal reports.
        it->second.endpoint.reset();
        display->CloseLost();
        m_displays.erase(it);
    }
    if (!m_pActive && !m_displays.empty()) {
        auto first = m_displays.begin();
        m_pActive = first->first;
        first->second.endpoint->Init();
    }
}
