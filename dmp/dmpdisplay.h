// DMPDisplay: an X display that the DMP manager reads itself: its socket callback checks for a
// closed connection before handling events, and reports a lost connection to its IDMPDisplayNotify
// (borrowed, may be null). Owns its connection like any rdp::XDisplay.
#pragma once

#include "common/x11/xdisplay.h"
#include "dmp/idmpdisplaynotify.h"

#include <string>

class DMPDisplay : public rdp::XDisplay {
public:
    DMPDisplay(const char* name, IDMPDisplayNotify* notify);
    ~DMPDisplay() override;

    // The name the display was created for (and opened with).
    const std::string& Name() const { return m_name; }

    // The dispatcher callback of the connection: nothing to read means the server has gone, and the
    // notify target hears of it (and may destroy this display); otherwise one turn of events.
    void OnReadable();

private:
    std::string m_name;
    IDMPDisplayNotify* m_pNotify;
};
