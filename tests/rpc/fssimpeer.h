// Runs the file-server control simulator (tools/fssim/fssim.py) as a child process on loopback for
// the client tests, and talks to its control socket. The destructor asks the child to quit and waits.
#pragma once

#include <cstdio>
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
    FILE* m_out = nullptr; // the child's standard output
    unsigned m_port = 0;
};
