// The framework's exception hierarchy roots: exception::Exception, exception::RCException (carrying a
// signed 32-bit runtime return code) and memory::OutOfMemoryException (code -3). Thrown by value,
// caught by reference to whichever base the caller cares about.
#pragma once

#include <cstdint>
#include <exception>

namespace exception {

class Exception : public std::exception {
public:
    const char* what() const noexcept override { return "exception::Exception"; }
};

class RCException : public Exception {
public:
    explicit RCException(int32_t code) : m_code(code) {}
    int32_t Code() const { return m_code; }
    const char* what() const noexcept override { return "exception::RCException"; }

private:
    int32_t m_code;
};

} // namespace exception

namespace memory {

class OutOfMemoryException : public exception::RCException {
public:
    OutOfMemoryException() : RCException(-3) {}
    const char* what() const noexcept override { return "memory::OutOfMemoryException"; }
};

} // namespace memory
