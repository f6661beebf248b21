// wex::common::dmp::InitIndication: the agent's first message, its version (1.0) and the services it
// offers, each a name and a list of byte values. Serialising into a buffer shorter than size() throws
// stream::IncompleteWriteException or stream::EOSException; parsing throws on a short buffer.
#pragma once

#include "dmp/messages/wiremessage.h"

#include <cstdint>
#include <string>
#include <vector>

namespace wex::common::dmp {

// One announced service.
struct _ServiceInfoInt {
    std::string name;
    std::vector<unsigned char> values;
    bool operator==(const _ServiceInfoInt& other) const = default;

    // The name and the values, each after a 16-bit count.
    template <class Self, class F> static void Fields(Self& self, F&& field) {
        field(self.name);
        field(self.values);
    }
};

class InitIndication : public wire::Message<InitIndication> {
public:
    static constexpr const char* URI_AUDIO = "audio";
    static constexpr const char* URI_AUDIOIN = "audioin";
    static constexpr const char* URI_LPD = "lpd";
    static constexpr const char* URI_SCARDC = "scardc";
    static constexpr const char* URI_FS = "fs";
    static constexpr const char* URI_IOC = "ioc";
    static constexpr const char* URI_AIPD = "aipd";

    InitIndication() = default;
    // Reads an indication as a peer would receive it.
    explicit InitIndication(encoding::LEDecodingBufferStream& stream) { ReadFields(stream); }

    // Names and value lists longer than 65535 do not fit the wire's 16-bit counts; they are cut there.
    void AddService(const std::string& name, const std::vector<unsigned char>& values);

    unsigned char MajorVersion() const { return m_major; }
    unsigned char MinorVersion() const { return m_minor; }
    const std::vector<_ServiceInfoInt>& Services() const { return m_services; }

    // size() is 4 + the sum over the services of (4 + name length + number of values).
    bool operator==(const InitIndication& other) const = default;

private:
    friend wire::Message<InitIndication>;
    template <class Self, class F> static void Fields(Self& self, F&& field) {
        field(self.m_major);
        field(self.m_minor);
        field(self.m_services);
    }

    unsigned char m_major = 1;
    unsigned char m_minor = 0;
    std::vector<_ServiceInfoInt> m_services;
};

} // namespace wex::common::dmp
