// Decoders that read integers and fixed byte counts from an input stream they do not own, the wider
// integers little-endian. Each value takes exactly one underlying read: a short one throws
// stream::IncompleteReadException, a read at the end throws stream::EOSException (from the stream).
#pragma once

#include "framework/stream/bufferstream.h"
#include "framework/stream/istream.h"

#include <cstdint>

namespace encoding {

class IDecodingStream {
public:
    // Appends what one underlying read delivers; returns the new fill position.
    virtual uint64_t Read(buffer::VarBuffer& buffer) = 0;
    virtual ~IDecodingStream() = default;
    // Fills the whole buffer in one underlying read or throws.
    virtual void Read(const buffer::Buffer& buffer) = 0;
};

class IIntegerDecodingStream : public IDecodingStream {
public:
    using IDecodingStream::Read;
    virtual void Read(signed char& value) = 0;
    virtual void Read(short& value) = 0;
    virtual void Read(int& value) = 0;
    virtual void Read(long& value) = 0;
    virtual void Read(unsigned char& value) = 0;
    virtual void Read(unsigned short& value) = 0;
    virtual void Read(unsigned int& value) = 0;
    virtual void Read(unsigned long& value) = 0;
};

class DecodingStream : public IIntegerDecodingStream {
public:
    explicit DecodingStream(stream::IInputStream& input) : m_pInput(&input) {}
    using IIntegerDecodingStream::Read;
    uint64_t Read(buffer::VarBuffer& buffer) override;
    void Read(const buffer::Buffer& buffer) override;

protected:
    stream::IInputStream* m_pInput;
};

class IntegerDecodingStream : public DecodingStream {
public:
    using DecodingStream::DecodingStream;
    using DecodingStream::Read;
    void Read(signed char& value) override;
    void Read(unsigned char& value) override;
};

class LEDecodingStream : public IntegerDecodingStream {
public:
    using IntegerDecodingStream::IntegerDecodingStream;
    using IntegerDecodingStream::Read;
    void Read(short& value) override;
    void Read(int& value) override;
    void Read(long& value) override;
    void Read(unsigned short& value) override;
    void Read(unsigned int& value) override;
    void Read(unsigned long& value) override;
};

namespace detail {
struct BufferInputHolder {
    explicit BufferInputHolder(const buffer::Buffer& source) : m_input(source) {}
    stream::BufferInputStream m_input;
};
} // namespace detail

// A decoder that owns the stream over its source buffer.
template <class Decoder> class MBufferInputStream : private detail::BufferInputHolder, public Decoder {
public:
    explicit MBufferInputStream(const buffer::Buffer& source) : BufferInputHolder(source), Decoder(m_input) {}
    uint64_t Position() const { return m_input.Position(); }
    uint64_t Remaining() const { return m_input.Remaining(); }
};

// What message parsers take: a little-endian decoder reading one buffer.
class LEDecodingBufferStream : public MBufferInputStream<LEDecodingStream> {
public:
    explicit LEDecodingBufferStream(const buffer::Buffer& source) : MBufferInputStream(source) {}
};

} // namespace encoding
