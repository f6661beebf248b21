// Test peer: a tool of tools/ run as a child process on a private control socket. The tool's first
// line on its standard output says it is ready; then it takes one JSON object per line on the
// socket and answers each with one line. A test still running 120 s after starting one is killed.
#pragma once

#include "tests/framework/watchdog.h"

#include <cstdio>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace kptest {

class ChildPeer {
public:
    // Runs `python3 <KP_SOURCE_DIR>/<tool> <args> --control <socket>`; `quit` ends the tool.
    ChildPeer(const std::string& tool, const std::string& args, std::string quit) : m_quit(std::move(quit)) {
        static int counter = 0;
        const std::string control =
            "/tmp/kp-peer-" + std::to_string(getpid()) + "-" + std::to_string(++counter) + ".sock";
        m_out = popen(
            ("exec python3 '" KP_SOURCE_DIR "/" + tool + "' " + args + " --control " + control).c_str(), "r");
        char line[256];
        sockaddr_un addr{AF_UNIX, {}};
        control.copy(addr.sun_path, sizeof(addr.sun_path) - 1);
        m_fd = socket(AF_UNIX, SOCK_STREAM, 0);
        if (m_out && std::fgets(line, sizeof line, m_out) &&
            connect(m_fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) == 0) {
            m_ready = line;
            return;
        }
        close(m_fd);
        m_fd = -1;
    }

    // A tool that does not take `quit` ends with its own lifetime; the watchdog bounds the wait.
    ~ChildPeer() {
        if (m_fd >= 0)
            Command(m_quit);
        close(m_fd);
        if (m_out)
            pclose(m_out);
    }
    ChildPeer(const ChildPeer&) = delete;
    ChildPeer& operator=(const ChildPeer&) = delete;

    // The tool's first line ("" when it did not start or its socket could not be reached).
    const std::string& Ready() const { return m_ready; }

    // Sends one line and returns the one-line answer ("" on failure).
    std::string Command(const std::string& json) {
        const std::string line = json + "\n";
        if (m_fd < 0 || send(m_fd, line.data(), line.size(), MSG_NOSIGNAL) != ssize_t(line.size()))
            return "";
        char chunk[65536];
        ssize_t n = 0;
        while (m_pending.find('\n') == std::string::npos && (n = read(m_fd, chunk, sizeof(chunk))) > 0)
            m_pending.append(chunk, static_cast<size_t>(n));
        const size_t nl = m_pending.find('\n');
        const std::string answer = m_pending.substr(0, nl == std::string::npos ? 0 : nl);
        m_pending.erase(0, nl == std::string::npos ? nl : nl + 1);
        return answer;
    }

private:
    Watchdog m_watchdog{120};
    std::string m_quit;
    FILE* m_out = nullptr; // the tool's standard output
    int m_fd = -1;
    std::string m_ready;
    std::string m_pending; // what came after the last answer
};

} // namespace kptest
