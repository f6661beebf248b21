// DMPManager: owns the DMP displays and their endpoints, keeps one display active (the one that has
// announced the agent), and drains the active display's queued events once per main-loop iteration.
// Borrows the controller (the default notify target). Displays that fail to open make AddDisplay
// return false; a lost connection drops its display and promotes the next one; a display without
// the extension, or one that Xlib finds broken, ends the process (SetEnding).
#pragma once

#include "dmp/dmpdisplay.h"
#include "dmp/dmpenum.h"
#include "dmp/idmpdisplaynotify.h"
#include "dmp/idmpenumnotify.h"

#include <functional>
#include <map>
#include <memory>

struct _XDisplay;

class DMPManager : public IDMPDisplayNotify {
public:
    // A managed display and its endpoint. The endpoint is declared last so that it goes first: it
    // detaches itself from its display's handlers.
    struct DisplayEntry {
        std::unique_ptr<DMPDisplay> display;
        std::unique_ptr<DMPEnum> endpoint;
    };

    // Installs FatalError as the process's X I/O-error handler.
    explicit DMPManager(IDMPEnumNotify& controller);
    ~DMPManager() override;
    DMPManager(const DMPManager&) = delete;
    DMPManager& operator=(const DMPManager&) = delete;

    // Opens and adds a display unless one of this exact name is managed already (then true).
    // A null notify target means the controller.
    bool AddDisplay(const char* name, IDMPEnumNotify* notify = nullptr);
    // Adds an opened display, taking ownership of it.
    bool AddDisplay(DMPDisplay* display, IDMPEnumNotify* notify);

    // One handling turn on the active display, if any, over the events Xlib has queued already.
    void Process();

    void OnDMPDisplayReadError(DMPDisplay* display) override;

    // The X I/O-error handler: ends the process through the ending (cause 0, the display is gone);
    // without one it returns 0 and Xlib ends the process.
    static int FatalError(_XDisplay* display);
    // How the manager ends the process: given the cause's exit status (0 for a broken connection,
    // kExitDisplayUnavailable for a display without the extension), the program runs its clean-up
    // and returns the status to exit with. Without one, the cause's status is the exit status.
    static void SetEnding(std::function<int(int)> ending);

    DMPDisplay* ActiveDisplay() const { return m_pActive; }
    const std::map<DMPDisplay*, DisplayEntry>& Displays() const { return m_displays; }

private:
    IDMPEnumNotify& m_controller;
    std::map<DMPDisplay*, DisplayEntry> m_displays;
    DMPDisplay* m_pActive = nullptr;
};
