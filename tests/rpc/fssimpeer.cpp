#include "fssimpeer.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

extern char** environ;

FsSimPeer::FsSimPeer() {
    char templ[] = "/tmp/fssimXXXXXX";
    if (!mkdtemp(templ))
        return;
    m_dir = templ;
    m_control = m_dir + "/control";
    std::string script = std::string(KP_SOURCE_DIR) + "/tools/fssim/fssim.py";
    std::string portFile = m_dir + "/port";
    std::string record = m_dir + "/calls.jsonl";
    std::vector<std::string> args = {"python3", script,      "--port",  "0",        "--port-file",
                                     portFile,  "--control", m_control, "--record", record};
    std::vector<char*> argv;
    for (std::string& a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    pid_t pid;
    int rc = posix_spawnp(&pid, "python3", &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0)
        return;
    m_pid = pid;
    // The port file appears (atomically) once both sockets are listening; 10 s is the watchdog.
    for (int i = 0; i < 1000 && m_port == 0; ++i) {
        if (FILE* f = std::fopen(portFile.c_str(), "r")) {
            if (std::fscanf(f, "%u", &m_port) != 1)
                m_port = 0;
            std::fclose(f);
        }
        if (m_port == 0)
            usleep(10000);
    }
}

FsSimPeer::~FsSimPeer() {
    if (m_pid > 0) {
        kill(m_pid, SIGTERM);
        waitpid(m_pid, nullptr, 0);
    }
    if (!m_dir.empty()) {
        std::string cmd = "rm -rf '" + m_dir + "'";
        (void)std::system(cmd.c_str());
    }
}

ZrInetAddr FsSimPeer::Address() const {
    ZrInetAddr address = ZrInetAddr::AddressLoopback();
    address.Port(m_port);
    return address;
}

std::string FsSimPeer::Command(const std::string& json) {
    int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    if (fd < 0)
        return "";
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::strncpy(addr.sun_path, m_control.c_str(), sizeof addr.sun_path - 1);
    std::string answer;
    if (connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0) {
        timeval timeout{10, 0};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
        std::string line = json + "\n";
        if (write(fd, line.data(), line.size()) == static_cast<ssize_t>(line.size())) {
            char c;
            while (read(fd, &c, 1) == 1 && c != '\n')
                answer.push_back(c);
        }
    }
    close(fd);
    return answer;
}

std::string FsSimPeer::Calls() {
    return Command(R"({"cmd": "calls"})");
}
