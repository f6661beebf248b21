// Test peer: runs tools/xtestserver as a child process on a free display number and drives it over
// its control socket; shared by the X11 and DMP tests. Failures to start or to talk fail the
// current test, and a test still running 120 s after it started its server is killed.
#pragma once

#include "tests/framework/watchdog.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <cstdio>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace kptest {

class TestDisplayServer {
public:
    TestDisplayServer() {
        static int counter = 0;
        const std::string control =
            "/tmp/kp-xts-" + std::to_string(getpid()) + "-" + std::to_string(++counter) + ".sock";
        m_out = popen(("exec python3 '" KP_SOURCE_DIR "/tools/xtestserver/xtestserver.py' --watch-parent "
                       "--lifetime 300 --control " +
                       control)
                          .c_str(),
                      "r");
        // The server's first line: "READY :<n> <control path>".
        char display[32] = "";
        m_fd = socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un addr{AF_UNIX, {}};
        control.copy(addr.sun_path, sizeof(addr.sun_path) - 1);
        if (m_out && std::fscanf(m_out, "READY %31s", display) == 1 &&
            connect(m_fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) == 0) {
            m_display = display;
            return;
        }
        ADD_FAILURE() << "test display server did not start";
        close(m_fd);
        m_fd = -1;
    }

    // A server that does not take the shutdown ends with its lifetime; the watchdog bounds the wait.
    ~TestDisplayServer() {
        if (m_fd >= 0)
            Must("shutdown");
        close(m_fd);
        if (m_out)
            pclose(m_out);
    }

    const std::string& Display() const { return m_display; }

    // Sends {"cmd": cmd, <the members of args>} (args: a one-line JSON object) and returns the
    // reply; fails the test unless the reply says "ok".
    rapidjson::Document Must(const std::string& cmd, const std::string& args = "{}") {
        std::string line = "{\"cmd\": \"" + cmd + (args == "{}" ? "\"}" : "\", " + args.substr(1)) + "\n";
        rapidjson::Document reply;
        if (m_fd < 0 || send(m_fd, line.data(), line.size(), MSG_NOSIGNAL) != ssize_t(line.size()) ||
            !ReadLine(line) || reply.Parse(line.c_str()).HasParseError() || !reply.IsObject() ||
            !reply.HasMember("ok") || !reply["ok"].GetBool()) {
            ADD_FAILURE() << cmd << " " << args << " -> " << line;
            reply.SetObject();
        }
        return reply;
    }

private:
    // One line from m_fd; what came after it waits for the next call.
    bool ReadLine(std::string& line) {
        char chunk[65536];
        ssize_t n = 0;
        while (m_pending.find('\n') == std::string::npos && (n = read(m_fd, chunk, sizeof(chunk))) > 0)
            m_pending.append(chunk, static_cast<size_t>(n));
        const size_t nl = m_pending.find('\n');
        line = m_pending.substr(0, nl);
        m_pending.erase(0, nl == std::string::npos ? nl : nl + 1);
        return nl != std::string::npos;
    }

    Watchdog m_watchdog{120};
    FILE* m_out = nullptr; // the server's standard output
    int m_fd = -1;
    std::string m_display;
    std::string m_pending;
};

inline std::string Hex(const unsigned char* data, size_t length) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (size_t i = 0; i < length; ++i)
        out.append({digits[data[i] >> 4], digits[data[i] & 15]});
    return out;
}

} // namespace kptest
