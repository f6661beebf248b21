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
    // Buckets hold few pairs (three on average before the table grows), so the first four slots live
    // inside the bucket and a lookup goes from the bucket array straight to the pair.
    using Bucket = ZrDList<A*, 4>;

    ZrDictionary() : m_buckets(kInitialBuckets) {}
    ZrDictionary(const ZrDictionary&) = delete;
    ZrDictionary& operator=(const ZrDictionary&) = delete;
    ~ZrDictionary() { Flush(true); }

    // Takes ownership of `pair` and returns true, or returns false (the caller keeps the pair) when an
    // equal key is present. Grows before inserting once the count has reached the threshold.
    bool Insert(A* pair) {
        if (m_count >= m_threshold)
            RebuildTable();
        Bucket& bucket = m_buckets[pair->Hash() & (m_bucketCount - 1)];
        if (Search(bucket, pair->Key(), pair->Hash()))
            return false;
        bucket.InsertNonConst(pair);
        ++m_count;
        return true;
    }

    A* Find(const Key& key) const { return Find(key, ZrKeyHash(key)); }
    // `hash` must be ZrKeyHash(key).
    A* Find(const Key& key, uint32_t hash) const {
        return Search(m_buckets[hash & (m_bucketCount - 1)], key, hash);
    }

    // Takes `pair` (found by identity) out of its bucket without destroying it; the bucket's list is
    // rebuilt without it so no hole stays behind. False when the pair is not held here.
    bool Remove(A* pair) {
        Bucket& bucket = m_buckets[pair->Hash() & (m_bucketCount - 1)];
        uint32_t at = bucket.Find(pair);
        if (at == 0xFFFFFFFFu)
            return false;
        Bucket rebuilt;
        for (uint32_t i = 0; i < bucket.EndIndex(); ++i)
            if (i != at && bucket.IsOccupied(i))
                rebuilt.InsertNonConst(bucket[i]);
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
        for (Bucket& old : m_buckets)
            for (A* pair : old)
                buckets[pair->Hash() & (count - 1)].InsertNonConst(pair);
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

    // The bucket counts are powers of four, so the modulus is a mask. Pairs compare their stored hash
    // before the key, so most non-matching pairs cost one integer compare.
    static A* Search(const Bucket& bucket, const Key& key, uint32_t hash) {
        A* const* slots = bucket.Slots();
        uint32_t end = bucket.EndIndex();
        if (bucket.IsDense()) {
            // Start fetching every pair of the bucket at once; otherwise a miss (which reads them all)
            // would wait for them one after the other.
            for (uint32_t i = 1; i < end; ++i)
                __builtin_prefetch(slots[i]);
            for (uint32_t i = 0; i < end; ++i) {
                A* pair = slots[i];
                if (pair->Matches(key, hash))
                    return pair;
            }
            return nullptr;
        }
        for (uint32_t i = 0; i < end; ++i)
            if (bucket.IsOccupied(i) && slots[i]->Matches(key, hash))
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
