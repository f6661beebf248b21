#include "net/zrsocketaddress.h"

#include <sys/un.h>

#include <cstring>
#include <string>

socklen_t ZrSocketAddress::Fill(sockaddr_storage& storage) const {
    std::memset(&storage, 0, sizeof storage);
    if (!m_local) {
        std::memcpy(&storage, &m_inet.SockAddr(), sizeof(sockaddr_in));
        return sizeof(sockaddr_in);
    }
    auto* local = reinterpret_cast<sockaddr_un*>(&storage);
    local->sun_family = AF_UNIX;
    std::string path = m_path.AsUtf8();
    size_t length = path.size() < sizeof local->sun_path - 1 ? path.size() : sizeof local->sun_path - 1;
    std::memcpy(local->sun_path, path.data(), length);
    // Family (2 bytes), the path and its terminating zero.
    return static_cast<socklen_t>(length + 3);
}
