// The stream failures: end of stream, short read, short write, and no data or room on a non-blocking
// socket. They carry nothing but their kind; catch stream::StreamException for all of them.
#pragma once

#include "framework/exception/exception.h"

namespace stream {

class StreamException : public exception::Exception {
public:
    const char* what() const noexcept override { return "stream::StreamException"; }
};

class EOSException : public StreamException {
public:
    const char* what() const noexcept override { return "stream::EOSException"; }
};

class IncompleteReadException : public StreamException {
public:
    const char* what() const noexcept override { return "stream::IncompleteReadException"; }
};

class IncompleteWriteException : public StreamException {
public:
    const char* what() const noexcept override { return "stream::IncompleteWriteException"; }
};

class WouldBlockException : public StreamException {
public:
    const char* what() const noexcept override { return "stream::WouldBlockException"; }
};

} // namespace stream
