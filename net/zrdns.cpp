#include "net/zrdns.h"

#include <netdb.h>
#include <sys/socket.h>

#include <algorithm>

bool ZrDNSCache::Find(const std::string& name, time_t now, std::vector<ZrInetAddr>& addresses) const {
    auto found = m_entries.find(name);
    if (found == m_entries.end() || now - found->second.stored >= m_lifetime)
        return false;
    addresses.insert(addresses.end(), found->second.addresses.begin(), found->second.addresses.end());
    return true;
}

void ZrDNSCache::Store(const std::string& name, time_t now, const std::vector<ZrInetAddr>& addresses) {
    m_entries[name] = Entry{now, addresses};
}

ZrDNSCache& ZrDNS::Cache() {
    static ZrDNSCache cache;
    return cache;
}

bool ZrDNS::GetAddressList(const ZrUniString& name, std::vector<ZrInetAddr>& addresses, bool refresh) {
    std::string key = name.Lower().AsUtf8();
    if (key.empty())
        return false;
    time_t now = std::time(nullptr);
    if (!refresh && Cache().Find(key, now, addresses))
        return true;

    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* result = nullptr;
    if (::getaddrinfo(key.c_str(), nullptr, &hints, &result) != 0 || !result)
        return false;
    std::vector<ZrInetAddr> found;
    for (addrinfo* entry = result; entry; entry = entry->ai_next) {
        if (entry->ai_family != AF_INET || !entry->ai_addr)
            continue;
        ZrInetAddr address(&reinterpret_cast<const sockaddr_in*>(entry->ai_addr)->sin_addr);
        if (std::find(found.begin(), found.end(), address) == found.end())
            found.push_back(address);
    }
    ::freeaddrinfo(result);
    if (found.empty())
        return false;
    Cache().Store(key, now, found);
    addresses.insert(addresses.end(), found.begin(), found.end());
    return true;
}
