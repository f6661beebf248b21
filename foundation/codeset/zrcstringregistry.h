// ZrCStringRegistry: an atom table from zero-terminated byte strings to small numbers: a chained hash
// table (ZrDList buckets of owned name/number pairs, key hash h = h * 9 + byte) with a bucket count
// chosen at construction, growing fourfold once it holds three names per bucket. ZrDictionary itself
// always starts at four buckets, which is why this table keeps its own. Unknown names: Find is false.
#pragma once

#include <cstdint>

#include "foundation/container/zrdlist.h"
#include "foundation/container/zrdvector.h"
#include "foundation/string/zrcstring.h"

class ZrCStringRegistry {
public:
    struct Pair {
        ZrCString name;
        unsigned value;
        uint32_t hash;
    };

    explicit ZrCStringRegistry(uint32_t buckets);
    ZrCStringRegistry(const ZrCStringRegistry&) = delete;
    ZrCStringRegistry& operator=(const ZrCStringRegistry&) = delete;
    ~ZrCStringRegistry();

    // False (and nothing changes) when the name is registered already.
    bool Register(const ZrCString& name, unsigned value);
    bool Find(const ZrCString& name, unsigned& value) const;

    uint32_t BucketCount() const { return m_buckets.Size(); }
    uint32_t Count() const { return m_count; }
    uint32_t RebuildThreshold() const { return m_threshold; }

private:
    void Rebuild();

    ZrDVector<ZrDList<Pair*>> m_buckets;
    uint32_t m_count = 0;
    uint32_t m_threshold;
};
