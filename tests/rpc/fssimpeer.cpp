#include "fssimpeer.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

FsSimPeer::FsSimPeer() {
    static int counter = 0;
    m_control = "/tmp/fssim-" + std::to_string(getpid()) + "-" + std::to_string(++counter) + ".sock";
    const std::string command = "exec python3 '" + std::string(KP_SOURCE_DIR) +
                                "/tools/fssim/fssim.py' --port 0 --control " + m_control;
    // "PORT <n>" comes once both sockets listen; nothing else is written.
    m_out = popen(command.c_str(), "r");
    if (m_out && std::fscanf(m_out, "PORT %u", &m_port) != 1)
        m_port = 0;
}

FsSimPeer::~FsSimPeer() {
    if (m_out) {
        Command(R"({"cmd": "quit"})");
        pclose(m_out);
    }
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
