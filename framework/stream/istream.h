// The stream interfaces: byte input and output, their pairing, and the waitable variants whose
// waitable becomes ready when the stream can be read or written. Implementations throw the
// stream::StreamException kinds.
#pragma once

#include "framework/buffer/buffer.h"
#include "framework/waitable/iwaitable.h"

#include <cstdint>

namespace stream {

class IInputStream {
public:
    virtual ~IInputStream() = default;
    // Appends at the buffer's fill position; returns the new fill position.
    virtual uint64_t Read(buffer::VarBuffer& buffer) = 0;
};

class IOutputStream {
public:
    virtual ~IOutputStream() = default;
    // Returns the number of bytes taken, which may be fewer than given.
    virtual uint64_t Write(const buffer::Buffer& buffer) = 0;
};

class IInputOutputStream : public IInputStream, public IOutputStream {};

class IIOStream : public IInputOutputStream {
public:
    virtual IInputStream& Input() = 0;
    virtual IOutputStream& Output() = 0;
};

class IWaitableInputStream : public IInputStream {
public:
    virtual waitable::IWaitable& Waitable() = 0;
};

class IWaitableOutputStream : public IOutputStream {
public:
    virtual waitable::IWaitable& Waitable() = 0;
};

} // namespace stream
