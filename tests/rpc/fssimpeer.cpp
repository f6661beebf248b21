#include "fssimpeer.h"

#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

FsSimPeer::FsSimPeer() {
    static int counter = 0;
    m_control = "/tmp/fssim-" + std::to_string(getpid()) + "-" + std::to_string(++counter) + ".sock";
    const std::string script = std::string(KP_SOURCE_DIR) + "/tools/fssim/fssim.py";
    int out[2];
    if (pipe(out) != 0)
        return;
    m_pid = fork();
    if (m_pid == 0) {
        dup2(out[1], 1);
        close(out[0]);
        close(out[1]);
        execlp("python3", "python3", script.c_str(), "--port", "0", "--control", m_control.c_str(),
               static_cast<char*>(nullptr));
        _exit(127);
    }
    close(out[1]);
    m_out = out[0];
    // "PORT <n>" comes once both sockets listen.
    std::string line;
    char c;
    while (read(m_out, &c, 1) == 1 && c != '\n')
        line += c;
    if (std::sscanf(line.c_str(), "PORT %u", &m_port) != 1)
        m_port = 0;
}

FsSimPeer::~FsSimPeer() {
    if (m_pid > 0) {
        kill(m_pid, SIGTERM);
        waitpid(m_pid, nullptr, 0);
    }
    if (m_out >= 0)
        close(m_out);
    unlink(m_control.c_str());
}

ZrInetAddr FsSimPeer::Address() const {
    ZrInetAddr address = ZrInetAddr::AddressLoopback();
    address.Port(m_port);
    return address;
}

std::string FsSimPeer::Command(const std::string& json) {
    int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::strncpy(addr.sun_path, m_control.c_str(), sizeof addr.sun_path - 1);
    std::string answer, line = json + "\n";
    timeval timeout{10, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    if (connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0 &&
        write(fd, line.data(), line.size()) == static_cast<ssize_t>(line.size())) {
        char c;
        while (read(fd, &c, 1) == 1 && c != '\n')
            answer.push_back(c);
    }
    close(fd);
    return answer;
}
