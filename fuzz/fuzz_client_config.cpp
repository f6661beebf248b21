// Feeds a whole server configuration text to the agent's configuration loading: database parsing,
// the required and optional key checks and the $ substitutions in the link directory. A refused
// configuration must end through the failure exit with status 3; an accepted one must leave no
// substitutable name behind in the link directory.
#include "app/clientwrapper.h"
#include "foundation/codeset/zrconverter.h"
#include "framework/platform/dispatcher.h"
#include "net/zrostream.h"

#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <memory>

namespace {

struct Refused {
    int code;
};

[[noreturn]] void Throw(int code) {
    throw Refused{code};
}

struct Fixture {
    Fixture() {
        // A known environment, so that substitutions have fixed values without a "$" in them.
        clearenv();
        setenv("HOME", "/fuzz/home", 1);
        setenv("USER", "fuzzuser", 1);
        setenv("LOGNAME", "fuzzlog", 1);
        setenv("EXTRA", "extra-value", 1);
        ClientWrapper::SetExitFunction(Throw);
    }
    // Messages are written but not kept.
    ZrOFStream out{open("/dev/null", O_WRONLY), kZrEncodingUtf8, 0};
    ZrOFStream err{open("/dev/null", O_WRONLY), kZrEncodingUtf8, 0};
    platform::Dispatcher dispatcher;
    ClientWrapper client{out, err, dispatcher};
};

bool Holds(const ZrUniString& text, const char* name) {
    return text.SearchFrom(0, ZrUniString(name)) != static_cast<uint32_t>(-1);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Fixture* fixture = new Fixture;
    ZrUniString text;
    if (!text.CreateFrom(data, size, kZrEncodingUtf8, 0))
        return 0;
    try {
        fixture->client.LoadConfig(text);
    } catch (const Refused& refused) {
        if (refused.code != 3)
            std::abort();
        return 0;
    }
    const ZrUniString& dir = fixture->client.SymlinkDir();
    if (Holds(dir, "$HOME") || Holds(dir, "$USER") || Holds(dir, "$LOGNAME"))
        std::abort();
    return 0;
}
