// Runs the file-server control simulator (tools/fssim/fssim.py) as a child process on loopback for
// the client tests, and talks to its control socket. Stops the child in the destructor.
#pragma once

#include <string>

#include "net/zrinetaddr.h"

class FsSimPeer {
public:
    FsSimPeer();
    ~FsSimPeer();
    FsSimPeer(const FsSimPeer&) = delete;
    FsSimPeer& operator=(const FsSimPeer&) = delete;

    bool Started() const { return m_port != 0; }
    ZrInetAddr Address() const;
    // Sends one JSON command line and returns the one-line answer ("" on failure).
    std::string Command(const std::string& json);

private:
    std::string m_control;
    int m_pid = -1;
    int m_out = -1; // the child's standard output, kept open so that it never writes into a closed pipe
    unsigned m_port = 0;
};
