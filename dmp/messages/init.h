// wex::common::dmp::Init: the peer's first message, two bytes of version (major, minor) with no type
// code. Parsing throws the stream exceptions of a short buffer (stream::EOSException when empty).
#pragma once

#include "framework/encoding/decodingstream.h"
#include "framework/encoding/encodingstream.h"

#include <cstdint>

namespace wex::common::dmp {

class Init {
public:
    explicit Init(encoding::LEDecodingBufferStream& stream);
    Init(unsigned char major, unsigned char minor) : m_major(major), m_minor(minor) {}

    unsigned char MajorVersion() const { return m_major; }
    unsigned char MinorVersion() const { return m_minor; }

    uint64_t size() const { return 2; }
    void Serialize(encoding::LEEncodingBufferStream& stream) const;
    bool operator==(const Init& other) const = default;

private:
    unsigned char m_major = 0;
    unsigned char m_minor = 0;
};

} // namespace wex::common::dmp
