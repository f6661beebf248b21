#include "net/zrdns.h"

#include <arpa/inet.h>
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

bool ZrDNS::GetAddressList(const ZrUniString& name, ZrDList<ZrInetAddr>& addresses, bool refresh) {
    std::string key = name.Lower().AsUtf8();
    if (key.empty())
        return false;
    time_t now = std::time(nullptr);
    std::vector<ZrInetAddr> found;
    if (refresh || !Cache().Find(key, now, found)) {
        if (!Resolve(key, found))
            return false;
        Cache().Store(key, now, found);
    }
    for (const ZrInetAddr& address : found)
        addresses.Insert(address);
    return true;
}

bool ZrDNS::Resolve(const std::string& name, std::vector<ZrInetAddr>& found) {
    // A dotted-quad address (the usual way a server is configured) needs no name service: skipping it
    // spares the process the resolver's configuration files and the library code that reads them.
    in_addr numeric;
    if (::inet_pton(AF_INET, name.c_str(), &numeric) == 1) {
        found.push_back(ZrInetAddr(&numeric));
        return true;
    }
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* result = nullptr;
    if (::getaddrinfo(name.c_str(), nullptr, &hints, &result) != 0 || !result)
        return false;
    for (addrinfo* entry = result; entry; entry = entry->ai_next) {
        if (entry->ai_family != AF_INET || !entry->ai_addr)
            continue;
        ZrInetAddr address(&reinterpret_cast<const sockaddr_in*>(entry->ai_addr)->sin_addr);
        if (std::find(found.begin(), found.end(), address) == found.end())
            found.push_back(address);
    }
    ::freeaddrinfo(result);
    return !found.empty();
}
