#include "dmp/dmpmanager.h"

#include "framework/dispatch/dispatch.h"
#include "framework/network/socketstream.h"

#include <memory>
#include <utility>

namespace {

std::function<void()>& CleanUp() {
    static std::function<void()> cleanUp;
    return cleanUp;
}

} // namespace

DMPManager::DMPManager(IDMPEnumNotify& controller) : m_controller(controller) {
    rdp::XDisplay::SetIOErrorHandler(&DMPManager::FatalError);
}

DMPManager::~DMPManager() = default;

void DMPManager::SetCleanUp(std::function<void()> cleanUp) {
    CleanUp() = std::move(cleanUp);
}

int DMPManager::FatalError(_XDisplay*) {
    if (CleanUp())
        CleanUp()();
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
    dispatch::Dispatch(display->Stream().WaitableInput().Waitable(), [display] { display->OnReadable(); });
    if (!m_pActive) {
        entry.endpoint->Init();
        m_pActive = display;
    }
    m_displays.emplace(display, std::move(entry));
    return true;
}

void DMPManager::Process() {
    if (m_pActive)
        m_pActive->HandleEvents();
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
