// Port-mapper records: ZrPortMapping (program, version, protocol, port; exactly 16 bytes) and
// ZrPortMapperResponse (a port). Values; Read fails on a shortage and then consumes nothing.
#pragma once

#include "rpc/zrrecord.h"

// Not used by the agent; kept with the other RPC records for asking a port mapper.
class ZrPortMapping : public ZrRecord<ZrPortMapping> {
public:
    ZrPortMapping(uint32_t prog = 0, uint32_t vers = 0, uint32_t prot = 0, uint32_t port = 0)
        : m_prog(prog), m_vers(vers), m_prot(prot), m_port(port) {}
    explicit ZrPortMapping(const ZrPacket& packet) { ReadFromPacket(packet); }
    ZrPortMapping(const unsigned char*& data, unsigned long& remaining) { ReadFromBytes(data, remaining); }

    uint32_t prog() const { return m_prog; }
    uint32_t vers() const { return m_vers; }
    uint32_t prot() const { return m_prot; }
    uint32_t port() const { return m_port; }
    void Set(uint32_t prog, uint32_t vers, uint32_t prot, uint32_t port) {
        m_prog = prog;
        m_vers = vers;
        m_prot = prot;
        m_port = port;
        Changed();
    }

private:
    friend ZrRecord<ZrPortMapping>;
    template <class Self, class F> static void Fields(Self& self, F& field) {
        field("prog", self.m_prog);
        field("vers", self.m_vers);
        field("prot", self.m_prot);
        field("port", self.m_port);
    }

    uint32_t m_prog = 0;
    uint32_t m_vers = 0;
    uint32_t m_prot = 0;
    uint32_t m_port = 0;
};

// Not used by the agent; kept with the other RPC records for asking a port mapper.
class ZrPortMapperResponse : public ZrRecord<ZrPortMapperResponse> {
public:
    ZrPortMapperResponse(uint32_t port = 0) : m_port(port) {}
    explicit ZrPortMapperResponse(const ZrPacket& packet) { ReadFromPacket(packet); }
    ZrPortMapperResponse(const unsigned char*& data, unsigned long& remaining) {
        ReadFromBytes(data, remaining);
    }

    uint32_t port() const { return m_port; }
    void port(uint32_t value) { Assign(m_port, value); }

private:
    friend ZrRecord<ZrPortMapperResponse>;
    template <class Self, class F> static void Fields(Self& self, F& field) { field("port", self.m_port); }

    uint32_t m_port = 0;
};
