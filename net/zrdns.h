// Host-name resolution: ZrDNS::GetAddressList gives the IPv4 addresses of a name, answered from a
// process-wide ZrDNSCache (names lower-cased, entries expire after a lifetime). Single-threaded like
// the rest of the program; failures return false and leave the list as it was.
#pragma once

#include <ctime>
#include <map>
#include <string>
#include <vector>

#include "foundation/container/zrdlist.h"
#include "net/zrinetaddr.h"

class ZrDNSCache {
public:
    explicit ZrDNSCache(time_t lifetimeSeconds = 300) : m_lifetime(lifetimeSeconds) {}

    // The addresses cached for the (already lower-cased) name, if the entry is younger than the
    // lifetime at `now`.
    bool Find(const std::string& name, time_t now, std::vector<ZrInetAddr>& addresses) const;
    void Store(const std::string& name, time_t now, const std::vector<ZrInetAddr>& addresses);
    void Flush() { m_entries.clear(); }
    size_t Size() const { return m_entries.size(); }

private:
    struct Entry {
        time_t stored;
        std::vector<ZrInetAddr> addresses;
    };
    time_t m_lifetime;
    std::map<std::string, Entry> m_entries;
};

class ZrDNS {
public:
    // Appends the IPv4 addresses of `name` (ports 0), in the resolver's order without duplicates.
    // `refresh` skips the cache and asks the resolver again. False when the name does not resolve.
    static bool GetAddressList(const ZrUniString& name, ZrDList<ZrInetAddr>& addresses, bool refresh);
    static ZrDNSCache& Cache();

private:
    static bool Resolve(const std::string& name, std::vector<ZrInetAddr>& found);
};
