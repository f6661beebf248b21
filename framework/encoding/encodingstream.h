// Encoders that turn integers into bytes on an output stream they do not own: one byte for the
// char types, little-endian 2/4/8 bytes for short/int/long. A write the stream does not take in
// full throws stream::IncompleteWriteException; the stream's own exceptions pass through.
#pragma once

#include "framework/stream/bufferstream.h"
#include "framework/stream/istream.h"

#include <cstdint>

namespace encoding {

class IEncodingStream {
public:
    // Raw bytes; returns the count written (always all of them, or it throws).
    virtual uint64_t Write(const buffer::Buffer& buffer) = 0;
    virtual ~IEncodingStream() = default;
};

class IIntegerEncodingStream : public IEncodingStream {
public:
    using IEncodingStream::Write;
    virtual void Write(signed char value) = 0;
    virtual void Write(short value) = 0;
    virtual void Write(int value) = 0;
    virtual void Write(long value) = 0;
    virtual void Write(unsigned char value) = 0;
    virtual void Write(unsigned short value) = 0;
    virtual void Write(unsigned int value) = 0;
    virtual void Write(unsigned long value) = 0;
};

// Forwards raw bytes to the underlying stream.
class EncodingStream : public IIntegerEncodingStream {
public:
    explicit EncodingStream(stream::IOutputStream& output) : m_pOutput(&output) {}
    using IIntegerEncodingStream::Write;
    uint64_t Write(const buffer::Buffer& buffer) override;

protected:
    stream::IOutputStream* m_pOutput;
};

// The one-byte integers, which have no byte order.
class IntegerEncodingStream : public EncodingStream {
public:
    using EncodingStream::EncodingStream;
    using EncodingStream::Write;
    void Write(signed char value) override;
    void Write(unsigned char value) override;
};

// The wider integers, least significant byte first.
class LEEncodingStream : public IntegerEncodingStream {
public:
    using IntegerEncodingStream::IntegerEncodingStream;
    using IntegerEncodingStream::Write;
    void Write(short value) override;
    void Write(int value) override;
    void Write(long value) override;
    void Write(unsigned short value) override;
    void Write(unsigned int value) override;
    void Write(unsigned long value) override;
};

namespace detail {
// Holds the buffer stream so that it is built before the encoder that writes into it.
struct BufferOutputHolder {
    explicit BufferOutputHolder(const buffer::Buffer& target) : m_output(target) {}
    stream::BufferOutputStream m_output;
};
} // namespace detail

// An encoder that owns the stream over its target buffer.
template <class Encoder> class MBufferOutputStream : private detail::BufferOutputHolder, public Encoder {
public:
    explicit MBufferOutputStream(const buffer::Buffer& target)
        : BufferOutputHolder(target), Encoder(m_output) {}
    // Bytes written so far.
    uint64_t Position() const { return m_output.Position(); }
};

// What message serialisers take: a little-endian encoder filling one buffer.
class LEEncodingBufferStream : public MBufferOutputStream<LEEncodingStream> {
public:
    explicit LEEncodingBufferStream(const buffer::Buffer& target) : MBufferOutputStream(target) {}
    explicit LEEncodingBufferStream(const buffer::VarBuffer& target)
        : MBufferOutputStream(buffer::Buffer(target.Data(), target.Capacity())) {}
};

} // namespace encoding
