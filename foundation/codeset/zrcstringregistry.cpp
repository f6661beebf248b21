#include "foundation/codeset/zrcstringregistry.h"

ZrCStringRegistry::ZrCStringRegistry(uint32_t buckets) : m_buckets(buckets ? buckets : 1) {
    m_threshold = 3 * m_buckets.Size();
}

ZrCStringRegistry::~ZrCStringRegistry() {
    for (auto& bucket : m_buckets)
        for (Pair* pair : bucket)
            delete pair;
}

bool ZrCStringRegistry::Register(const ZrCString& name, unsigned value) {
    unsigned existing;
    if (Find(name, existing))
        return false;
    if (m_count >= m_threshold)
        Rebuild();
    Pair* pair = new Pair{name, value, name.HashValue()};
    m_buckets[pair->hash % m_buckets.Size()].InsertNonConst(pair);
    ++m_count;
    return true;
}

bool ZrCStringRegistry::Find(const ZrCString& name, unsigned& value) const {
    uint32_t hash = name.HashValue();
    for (const Pair* pair : m_buckets[hash % m_buckets.Size()]) {
        if (pair->hash == hash && pair->name == name) {
            value = pair->value;
            return true;
        }
    }
    return false;
}

void ZrCStringRegistry::Rebuild() {
    ZrDVector<ZrDList<Pair*>> buckets(m_buckets.Size() * 4);
    for (auto& bucket : m_buckets)
        for (Pair* pair : bucket)
            buckets[pair->hash % buckets.Size()].InsertNonConst(pair);
    m_buckets = std::move(buckets);
    m_threshold *= 4;
}
