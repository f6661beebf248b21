// Port-mapper records: ZrPortMapping (program, version, protocol, port; exactly 16 bytes) and
// ZrPortMapperResponse (a port). Values; Read fails on a shortage.
#pragma once

#include "rpc/zrpacket.h"

class ZrPortMapping : public ZrPacket {
public:
    ZrPortMapping(uint32_t prog = 0, uint32_t vers = 0, uint32_t prot = 0, uint32_t port = 0)
        : m_prog(prog), m_vers(vers), m_prot(prot), m_port(port) {}
    explicit ZrPortMapping(const ZrPacket& packet) { ReadFromPacket(packet); }
    ZrPortMapping(const unsigned char*& data, unsigned long& remaining) {
        (void)Read(data, remaining); // the outcome is the valid flag
    }

    uint32_t prog() const { return m_prog; }
    uint32_t vers() const { return m_vers; }
    uint32_t prot() const { return m_prot; }
    uint32_t port() const { return m_port; }
    void Set(uint32_t prog, uint32_t vers, uint32_t prot, uint32_t port);

    [[nodiscard]] bool Read(const unsigned char*& data, unsigned long& remaining) override;
    unsigned long PackedSize() const override { return 16; }
    void PackTo(unsigned char*& out) const override;
    ZrUniString DebugString(unsigned indent) const override;

    bool operator==(const ZrPortMapping& other) const {
        return m_prog == other.m_prog && m_vers == other.m_vers && m_prot == other.m_prot &&
               m_port == other.m_port;
    }
    bool operator!=(const ZrPortMapping& other) const { return !(*this == other); }

private:
    uint32_t m_prog = 0;
    uint32_t m_vers = 0;
    uint32_t m_prot = 0;
    uint32_t m_port = 0;
};

class ZrPortMapperResponse : public ZrPacket {
public:
    ZrPortMapperResponse(uint32_t port = 0) : m_port(port) {}
    explicit ZrPortMapperResponse(const ZrPacket& packet) { ReadFromPacket(packet); }
    ZrPortMapperResponse(const unsigned char*& data, unsigned long& remaining) {
        (void)Read(data, remaining); // the outcome is the valid flag
    }

    uint32_t port() const { return m_port; }
    void port(uint32_t value) {
        m_port = value;
        Changed();
    }

    [[nodiscard]] bool Read(const unsigned char*& data, unsigned long& remaining) override;
    unsigned long PackedSize() const override { return 4; }
    void PackTo(unsigned char*& out) const override;
    ZrUniString DebugString(unsigned indent) const override;

    bool operator==(const ZrPortMapperResponse& other) const { return m_port == other.m_port; }
    bool operator!=(const ZrPortMapperResponse& other) const { return !(*this == other); }

private:
    uint32_t m_port = 0;
};
