#include "framework/network/socketstream.h"

#include "framework/stream/streamexception.h"

namespace network {

uint64_t SocketInputStream::Read(buffer::VarBuffer& buffer) {
    uint64_t count = 0;
    const KivStatus status = KivSocketRead(&m_socket.Internal(), buffer.FillPointer(), buffer.Room(), &count);
    if (status == KIV_SOCKET_WOULD_BLOCK)
        throw stream::WouldBlockException();
    if (status != KIV_OK)
        throw Exception(status);
    if (count == 0)
        throw stream::EOSException();
    buffer.Advance(count);
    return buffer.Fill();
}

uint64_t SocketOutputStream::Write(const buffer::Buffer& buffer) {
    uint64_t count = 0;
    const KivStatus status = KivSocketWrite(&m_socket.Internal(), buffer.Data(), buffer.Length(), &count);
    if (status == KIV_SOCKET_WOULD_BLOCK)
        throw stream::WouldBlockException();
    if (status == KIV_SOCKET_CLOSED)
        throw stream::EOSException();
    if (status != KIV_OK)
        throw Exception(status);
    return count;
}

} // namespace network
