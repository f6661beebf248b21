// Test peer: tools/xtestserver on a free display number, shared by the X11 and DMP tests. Failures to
// start or to talk fail the current test.
#pragma once

#include "tests/framework/childpeer.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <string>

namespace kptest {

class TestDisplayServer {
public:
    TestDisplayServer() {
        // The server's first line: "READY :<n> <control path>".
        const std::string& ready = m_peer.Ready();
        if (ready.rfind("READY ", 0) == 0)
            m_display = ready.substr(6, ready.find(' ', 6) - 6);
        else
            ADD_FAILURE() << "test display server did not start";
    }

    const std::string& Display() const { return m_display; }

    // Sends {"cmd": cmd, <the members of args>} (args: a one-line JSON object) and returns the
    // reply; fails the test unless the reply says "ok".
    rapidjson::Document Must(const std::string& cmd, const std::string& args = "{}") {
        const std::string line =
            m_peer.Command("{\"cmd\": \"" + cmd + (args == "{}" ? "\"}" : "\", " + args.substr(1)));
        rapidjson::Document reply;
        if (reply.Parse(line.c_str()).HasParseError() || !reply.IsObject() || !reply.HasMember("ok") ||
            !reply["ok"].GetBool()) {
            ADD_FAILURE() << cmd << " " << args << " -> " << line;
            reply.SetObject();
        }
        return reply;
    }

private:
    ChildPeer m_peer{"tools/xtestserver/xtestserver.py", "--watch-parent --lifetime 300",
                     R"({"cmd": "shutdown"})"};
    std::string m_display;
};

inline std::string Hex(const unsigned char* data, size_t length) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (size_t i = 0; i < length; ++i)
        out.append({digits[data[i] >> 4], digits[data[i] & 15]});
    return out;
}

} // namespace kptest
