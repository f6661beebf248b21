#include "foundation/codeset/zrcstringregistry.h"

#include <utility>

ZrCStringRegistry::ZrCStringRegistry(uint32_t buckets) : m_buckets(buckets ? buckets : 1) {
    m_threshold = 3 * BucketCount();
}

bool ZrCStringRegistry::Register(const ZrCString& name, unsigned value) {
    unsigned existing;
    if (Find(name, existing))
        return false;
    if (m_count >= m_threshold)
        Rebuild();
    uint32_t hash = name.HashValue();
    m_buckets[hash % m_buckets.size()].push_back({name, value, hash});
    ++m_count;
    return true;
}

bool ZrCStringRegistry::Find(const ZrCString& name, unsigned& value) const {
    uint32_t hash = name.HashValue();
    for (const Pair& pair : m_buckets[hash % m_buckets.size()]) {
        if (pair.hash == hash && pair.name == name) {
            value = pair.value;
            return true;
        }
    }
    return false;
}

// Every pair moves, bucket by bucket in the old order, to the end of its new chain.
void ZrCStringRegistry::Rebuild() {
    std::vector<std::vector<Pair>> buckets(m_buckets.size() * 4);
    for (auto& bucket : m_buckets)
        for (Pair& pair : bucket)
            buckets[pair.hash % buckets.size()].push_back(std::move(pair));
    m_buckets.swap(buckets);
    m_threshold *= 4;
}
