// ZrDictionary<A>: a chained hash table of heap pairs (A is ZrDDAssoc<K, V> or ZrDIAssocOwnsMemory<K, V>)
// whose buckets are ZrDLists of pair pointers. The dictionary owns the pairs it holds and destroys them
// in Flush(true) and its destructor; Remove hands a pair back to the caller. Nothing here fails but
// allocation (std::bad_alloc). Iteration follows buckets, then slots; it never sorts.
#pragma once

#include <cstdint>

#include "foundation/container/zrdassoc.h"
#include "foundation/container/zrdlist.h"
#include "foundation/container/zrdvector.h"

template <class A> class ZrDictionary {
public:
    using Assoc = A;
    using Key = typename A::KeyType;
    static constexpr uint32_t kInline = 4;

    // A bucket is the list of its pairs' pointers; buckets hold few pairs (three on average before the
    // table grows), so the first four slots live inside it. Beside each of those it keeps the top byte
    // of the pair's hash: a probe skips pairs whose byte differs without reading them, so a lookup of a
    // missing key usually touches the bucket alone. One bucket fills exactly one cache line.
    class alignas(64) Bucket : public ZrDList<A*, kInline> {
    public:
        void Append(A* pair, uint32_t hash) {
            uint32_t i = this->InsertNonConst(pair);
            if (i < kInline)
                m_tags[i] = TagOf(hash);
        }
        uint8_t TagAt(uint32_t i) const { return m_tags[i]; }

    private:
        uint8_t m_tags[kInline] = {};
    };

    ZrDictionary() : m_buckets(kInitialBuckets) {
        static_assert(sizeof(void*) != 8 || sizeof(Bucket) == 64, "a bucket is one cache line");
    }
    ZrDictionary(const ZrDictionary&) = delete;
    ZrDictionary& operator=(const ZrDictionary&) = delete;
    ~ZrDictionary() { Flush(true); }

    // Takes ownership of `pair` and returns true, or returns false (the caller keeps the pair) when an
    // equal key is present. Grows before inserting once the count has reached the threshold.
    [[nodiscard]] bool Insert(A* pair) {
        if (m_count >= m_threshold)
            RebuildTable();
        Bucket& bucket = m_buckets[pair->Hash() & (m_bucketCount - 1)];
        if (Search(bucket, pair->Key(), pair->Hash()))
            return false;
        bucket.Append(pair, pair->Hash());
        ++m_count;
        return true;
    }
    // Insert for a caller that has just seen Find miss this key: the same steps without searching the
    // bucket again. Takes ownership of `pair`.
    void InsertAbsent(A* pair) {
        if (m_count >= m_threshold)
            RebuildTable();
        m_buckets[pair->Hash() & (m_bucketCount - 1)].Append(pair, pair->Hash());
        ++m_count;
    }

    A* Find(const Key& key) const { return Find(key, ZrKeyHash(key)); }
    // `hash` must be ZrKeyHash(key).
    A* Find(const Key& key, uint32_t hash) const {
        return Search(m_buckets[hash & (m_bucketCount - 1)], key, hash);
    }

    // Takes `pair` (found by identity) out of its bucket without destroying it; the bucket's list is
    // rebuilt without it so no hole stays behind. False when the pair is not held here.
    [[nodiscard]] bool Remove(A* pair) {
        Bucket& bucket = m_buckets[pair->Hash() & (m_bucketCount - 1)];
        uint32_t at = bucket.Find(pair);
        if (at == 0xFFFFFFFFu)
            return false;
        Bucket rebuilt;
        for (uint32_t i = 0; i < bucket.EndIndex(); ++i)
            if (i != at && bucket.IsOccupied(i))
                rebuilt.Append(bucket[i], bucket[i]->Hash());
        bucket = std::move(rebuilt);
        --m_count;
        return true;
    }

    // Empties every bucket; the pairs are destroyed when `destroy` is true, otherwise only forgotten.
    // The bucket count stays.
    void Flush(bool destroy) {
        if (m_count == 0)
            return;
        for (Bucket& bucket : m_buckets) {
            if (destroy)
                for (A* pair : bucket)
                    delete pair;
            if (!bucket.IsEmpty())
                bucket.Flush();
        }
        m_count = 0;
    }

    // Four times the buckets; every pair moves, bucket by bucket and slot by slot in the old order, to
    // the end of its new bucket. The shift is kept for its own sake: buckets come from the modulus.
    void RebuildTable() {
        uint32_t count = m_bucketCount * 4;
        ZrDVector<Bucket> buckets(count);
        for (uint32_t b = 0; b < m_bucketCount; ++b)
            for (A* pair : m_buckets[b])
                buckets[pair->Hash() & (count - 1)].Append(pair, pair->Hash());
        m_buckets.Swap(buckets);
        m_bucketCount = count;
        m_threshold *= 4;
        m_shift -= 2;
    }

    uint32_t Count() const { return m_count; }
    bool IsEmpty() const { return m_count == 0; }
    uint32_t BucketCount() const { return m_bucketCount; }
    uint32_t Threshold() const { return m_threshold; }
    uint32_t Shift() const { return m_shift; }
    const Bucket& BucketAt(uint32_t i) const { return m_buckets[i]; }
    uint32_t BucketOf(const Key& key) const { return ZrKeyHash(key) & (m_bucketCount - 1); }

private:
    static constexpr uint32_t kInitialBuckets = 4;

    static uint8_t TagOf(uint32_t hash) { return uint8_t(hash >> 24); }

    // The bucket counts are powers of four, so the modulus is a mask. Inline slots are screened by
    // their hash byte; the rest compare the pair's stored hash before the key.
    static A* Search(const Bucket& bucket, const Key& key, uint32_t hash) {
        A* const* slots = bucket.Slots();
        uint32_t end = bucket.EndIndex();
        uint8_t tag = TagOf(hash);
        bool dense = bucket.IsDense();
        uint32_t inlineEnd = end < kInline ? end : kInline;
        for (uint32_t i = 0; i < inlineEnd; ++i)
            if (bucket.TagAt(i) == tag && (dense || bucket.IsOccupied(i)) && slots[i]->Matches(key, hash))
                return slots[i];
        if (end <= kInline)
            return nullptr;
        for (uint32_t i = kInline; i < end; ++i)
            if ((dense || bucket.IsOccupied(i)) && slots[i]->Matches(key, hash))
                return slots[i];
        return nullptr;
    }

    uint32_t m_bucketCount = kInitialBuckets;
    ZrDVector<Bucket> m_buckets;
    uint32_t m_count = 0;
    uint32_t m_threshold = 12;
    uint32_t m_shift = 28;
};

// Walks a dictionary bucket by bucket in index order and, within a bucket, slot by slot. Inserting or
// rebuilding invalidates it. A bucket emptied or rebuilt under it (Flush, Remove) is left at once
// rather than read at stale slot numbers, so after a Flush it ends.
template <class A> class ZrDictionaryIterator {
public:
    explicit ZrDictionaryIterator(const ZrDictionary<A>& dictionary) : m_dictionary(dictionary) { Enter(0); }

    // The next pair, or nullptr at the end.
    A* Next() {
        while (m_bucket < m_dictionary.BucketCount()) {
            const typename ZrDictionary<A>::Bucket& bucket = m_dictionary.BucketAt(m_bucket);
            if (bucket.ChangeCounter() == m_changes) {
                while (m_slot < bucket.EndIndex()) {
                    uint32_t i = m_slot++;
                    if (bucket.IsOccupied(i))
                        return bucket[i];
                }
            }
            Enter(m_bucket + 1);
        }
        return nullptr;
    }

    // Back to the first pair.
    void Reset() { Enter(0); }

private:
    void Enter(uint32_t bucket) {
        m_bucket = bucket;
        m_slot = 0;
        m_changes = bucket < m_dictionary.BucketCount() ? m_dictionary.BucketAt(bucket).ChangeCounter() : 0;
    }

    const ZrDictionary<A>& m_dictionary;
    uint32_t m_bucket = 0;
    uint32_t m_slot = 0;
    uint32_t m_changes = 0;
};
