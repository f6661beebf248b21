// ZrCStringRegistry: an atom table from zero-terminated byte strings to small numbers: a chained hash
// table (key hash h = h * 9 + byte, as the dictionary's) whose bucket count is chosen at construction
// and grows fourfold once it holds three names per bucket. ZrDictionary always starts at four buckets,
// which is why this table keeps its own chains. It owns copies of its names; unknown names: false.
#pragma once

#include <cstdint>

#include <vector>

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

    // False (and nothing changes) when the name is registered already.
    [[nodiscard]] bool Register(const ZrCString& name, unsigned value);
    [[nodiscard]] bool Find(const ZrCString& name, unsigned& value) const;

    uint32_t BucketCount() const { return static_cast<uint32_t>(m_buckets.size()); }
    uint32_t Count() const { return m_count; }
    uint32_t RebuildThreshold() const { return m_threshold; }

private:
    void Rebuild();

    std::vector<std::vector<Pair>> m_buckets;
    uint32_t m_count = 0;
    uint32_t m_threshold;
};
