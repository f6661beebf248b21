// Test peer: runs tools/xtestserver as a child process on a free display number
// and drives it over its control socket. Header-only so that the X11 and DMP test
// binaries share it. Failures to start or to talk fail the current test. Tests that wait on it
// guard themselves with the framework tests' Watchdog.
#pragma once

#include "tests/framework/watchdog.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <csignal>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace kptest {

class TestDisplayServer {
public:
    // extraArgs go to the server's command line, e.g. {"--no-xkpdev"}.
    explicit TestDisplayServer(std::vector<std::string> extraArgs = {}) {
        static int counter = 0;
        m_control = "/tmp/kp-xts-" + std::to_string(getpid()) + "-" + std::to_string(++counter) + ".sock";
        std::vector<std::string> args = {"python3",
                                         std::string(KP_SOURCE_DIR) + "/tools/xtestserver/xtestserver.py",
                                         "--watch-parent",
                                         "--lifetime",
                                         "300",
                                         "--control",
                                         m_control};
        args.insert(args.end(), extraArgs.begin(), extraArgs.end());
        int out[2];
        if (pipe(out) != 0)
            return;
        m_pid = fork();
        if (m_pid == 0) {
            dup2(out[1], 1);
            close(out[0]);
            close(out[1]);
            std::vector<char*> argv;
            for (auto& a : args)
                argv.push_back(a.data());
            argv.push_back(nullptr);
            execvp("python3", argv.data());
            _exit(127);
        }
        close(out[1]);
        m_fd = out[0];
        // "READY :<n> <control path>"
        std::string line;
        const bool ready = ReadLine(line) && line.rfind("READY :", 0) == 0;
        close(m_fd);
        m_fd = -1;
        m_pending.clear();
        if (!ready) {
            ADD_FAILURE() << "test display server did not start: " << line;
            return;
        }
        m_display = line.substr(6, line.find(' ', 6) - 6);
        m_fd = socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un addr{};
        addr.sun_family = AF_UNIX;
        std::strncpy(addr.sun_path, m_control.c_str(), sizeof(addr.sun_path) - 1);
        if (connect(m_fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0) {
            ADD_FAILURE() << "cannot connect to " << m_control;
            close(m_fd);
            m_fd = -1;
        }
    }

    ~TestDisplayServer() {
        if (m_fd >= 0) {
            Call("shutdown");
            close(m_fd);
        }
        if (m_pid <= 0)
            return;
        for (int i = 0; i < 200; ++i) {
            if (waitpid(m_pid, nullptr, WNOHANG) == m_pid)
                return;
            usleep(10000);
        }
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }

    TestDisplayServer(const TestDisplayServer&) = delete;
    TestDisplayServer& operator=(const TestDisplayServer&) = delete;

    bool Ok() const { return m_fd >= 0; }
    const std::string& Display() const { return m_display; }

    // Sends {"cmd": cmd, ...args} (args: a JSON object text) as one line and returns the reply.
    rapidjson::Document Call(const std::string& cmd, const std::string& args = "{}") {
        std::string line = "{\"cmd\": \"" + cmd + "\"";
        const size_t open = args.find('{'), close = args.rfind('}');
        const std::string members = args.substr(open + 1, close - open - 1);
        if (members.find_first_not_of(" \n") != std::string::npos)
            line += ", " + members;
        line += "}\n";
        for (size_t i = 0; i + 1 < line.size(); ++i)
            if (line[i] == '\n')
                line[i] = ' ';
        rapidjson::Document reply;
        if (m_fd < 0 || send(m_fd, line.data(), line.size(), MSG_NOSIGNAL) != ssize_t(line.size()) ||
            !ReadLine(line) || reply.Parse(line.c_str()).HasParseError() || !reply.IsObject() ||
            !reply.HasMember("ok")) {
            ADD_FAILURE() << "control socket failed for " << cmd << ": " << line;
            reply.SetObject();
        }
        return reply;
    }

    // Like Call, but fails the test unless the reply says "ok".
    rapidjson::Document Must(const std::string& cmd, const std::string& args = "{}") {
        rapidjson::Document reply = Call(cmd, args);
        if (!reply.HasMember("ok") || !reply["ok"].GetBool())
            ADD_FAILURE() << cmd << " " << args << " -> "
                          << (reply.HasMember("error") ? reply["error"].GetString() : "no reply");
        return reply;
    }

private:
    // One line from m_fd; what came after it waits for the next call.
    bool ReadLine(std::string& line) {
        while (m_pending.find('\n') == std::string::npos) {
            char chunk[65536];
            const ssize_t n = read(m_fd, chunk, sizeof(chunk));
            if (n <= 0)
                return false;
            m_pending.append(chunk, static_cast<size_t>(n));
        }
        const size_t nl = m_pending.find('\n');
        line = m_pending.substr(0, nl);
        m_pending.erase(0, nl + 1);
        return true;
    }

    pid_t m_pid = -1;
    int m_fd = -1;
    std::string m_control;
    std::string m_display;
    std::string m_pending;
};

inline std::string Hex(const unsigned char* data, size_t length) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (size_t i = 0; i < length; ++i) {
        out += digits[data[i] >> 4];
        out += digits[data[i] & 15];
    }
    return out;
}

} // namespace kptest
