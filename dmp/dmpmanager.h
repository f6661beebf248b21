// DMPManager: owns the DMP displays and their endpoints, keeps one display active (the one that has
// announced the agent), and drains the active display's queued events once per main-loop iteration.
// Borrows the controller (the default notify target). Displays that fail to open make AddDisplay
// return false; a lost connection drops its display and promotes the next one.
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

    // One handling turn on the active display, if any.
    void Process();

    void OnDMPDisplayReadError(DMPDisplay* display) override;

    // The X I/O-error handler: runs the clean-up set with SetCleanUp and returns 0, after which
    // Xlib ends the process.
    static int FatalError(_XDisplay* display);
    // What FatalError runs; the program sets it to its controller's clean-up.
    static void SetCleanUp(std::function<void()> cleanUp);

    DMPDisplay* ActiveDisplay() const { return m_pActive; }
    const std::map<DMPDisplay*, DisplayEntry>& Displays() const { return m_displays; }

private:
    IDMPEnumNotify& m_controller;
    std::map<DMPDisplay*, DisplayEntry> m_displays;
    DMPDisplay* m_pActive = nullptr;
};
