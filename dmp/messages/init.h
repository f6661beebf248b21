// wex::common::dmp::Init: the peer's first message, two bytes of version (major, minor) with no type
// code. Parsing throws the stream exceptions of a short buffer (stream::EOSException when empty).
#pragma once

#include "dmp/messages/wiremessage.h"

namespace wex::common::dmp {

class Init : public wire::Message<Init> {
public:
    explicit Init(encoding::LEDecodingBufferStream& stream) { ReadFields(stream); }
    Init(unsigned char major, unsigned char minor) : m_major(major), m_minor(minor) {}

    unsigned char MajorVersion() const { return m_major; }
    unsigned char MinorVersion() const { return m_minor; }

    bool operator==(const Init& other) const = default;

private:
    friend wire::Message<Init>;
    template <class Self, class F> static void Fields(Self& self, F&& field) {
        field(self.m_major);
        field(self.m_minor);
    }

    unsigned char m_major = 0;
    unsigned char m_minor = 0;
};

} // namespace wex::common::dmp
