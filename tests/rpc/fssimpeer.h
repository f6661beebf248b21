// Test peer: the file-server control simulator (tools/fssim/fssim.py) on a free UDP port on loopback,
// for the client tests.
#pragma once

#include "net/zrinetaddr.h"
#include "tests/framework/childpeer.h"

#include <cstdio>
#include <string>

class FsSimPeer {
public:
    FsSimPeer() { std::sscanf(m_peer.Ready().c_str(), "PORT %u", &m_port); } // once both sockets listen

    bool Started() const { return m_port != 0; }
    ZrInetAddr Address() const {
        ZrInetAddr address = ZrInetAddr::AddressLoopback();
        address.Port(m_port);
        return address;
    }
    // Sends one JSON command line and returns the one-line answer ("" on failure).
    std::string Command(const std::string& json) { return m_peer.Command(json); }

private:
    kptest::ChildPeer m_peer{"tools/fssim/fssim.py", "--port 0", R"({"cmd": "quit"})"};
    unsigned m_port = 0;
};
