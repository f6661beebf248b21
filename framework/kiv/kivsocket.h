// The runtime socket: a descriptor with its read, write and except wait objects. Made here only over
// an existing descriptor, which it does not close. Functions return 32-bit statuses and never throw;
// the errno of the last failure is kept in the record.
#pragma once

#include "framework/kiv/kivwait.h"

#include <cstdint>

inline constexpr KivStatus KIV_SOCKET_WOULD_BLOCK = static_cast<KivStatus>(0x80010005u);
inline constexpr KivStatus KIV_SOCKET_CLOSED = static_cast<KivStatus>(0x80010018u);

struct _KivSocketInternal {
    int32_t fd = -1;
    int32_t type = 0;
    int32_t protocol = 0;
    int32_t error = 0;
    KivPosixFdWait readWait;
    KivPosixFdWait writeWait;
    KivPosixFdWait exceptWait;
};

// Fails (-1, error kept) when the descriptor is not a socket.
[[nodiscard]] KivStatus _KivPosixSocketInitWithFd(_KivSocketInternal* socket, int32_t fd);
[[nodiscard]] KivStatus KivSocketTerminate(_KivSocketInternal* socket);

// One read of at most `length` bytes; *count is 0 when the peer has closed the stream.
// KIV_SOCKET_WOULD_BLOCK when a non-blocking socket has nothing to read.
[[nodiscard]] KivStatus KivSocketRead(_KivSocketInternal* socket, void* data, uint64_t length,
                                      uint64_t* count);
// One write; KIV_SOCKET_WOULD_BLOCK when there is no room, KIV_SOCKET_CLOSED when the peer is gone.
[[nodiscard]] KivStatus KivSocketWrite(_KivSocketInternal* socket, const void* data, uint64_t length,
                                       uint64_t* count);
[[nodiscard]] KivStatus KivSocketSetBlocking(_KivSocketInternal* socket, KivBool blocking);
[[nodiscard]] KivStatus KivSocketSetReuseAddr(_KivSocketInternal* socket, KivBool reuse);
