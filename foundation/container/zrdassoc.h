// ZrDDAssoc<K, V> and ZrDIAssocOwnsMemory<K, V>: the key/value pairs a ZrDictionary holds. A pair
// owns its key and value (ZrDIAssocOwnsMemory: a heap value it deletes); the dictionary owns the pairs
// it holds. The key is fixed at construction, with its hash kept beside it.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "foundation/container/zrdhash.h"

template <class K, class V> class ZrDDAssoc {
public:
    using KeyType = K;
    using ValueType = V;

    explicit ZrDDAssoc(K key, V value = V()) : m_key(std::move(key)), m_value(std::move(value)) {
        m_hash = ZrKeyHash(m_key);
    }
    // For callers that hashed the key already.
    ZrDDAssoc(K key, V value, uint32_t hash)
        : m_key(std::move(key)), m_value(std::move(value)), m_hash(hash) {}
    ZrDDAssoc(const ZrDDAssoc&) = delete;
    ZrDDAssoc& operator=(const ZrDDAssoc&) = delete;

    const K& Key() const { return m_key; }
    V& Value() { return m_value; }
    const V& Value() const { return m_value; }
    uint32_t Hash() const { return m_hash; }

private:
    K m_key;
    V m_value;
    uint32_t m_hash;
};

template <class K, class V> class ZrDIAssocOwnsMemory {
public:
    using KeyType = K;
    using ValueType = V;

    ZrDIAssocOwnsMemory(K key, std::unique_ptr<V> value) : m_key(std::move(key)), m_value(std::move(value)) {
        m_hash = ZrKeyHash(m_key);
    }
    ZrDIAssocOwnsMemory(const ZrDIAssocOwnsMemory&) = delete;
    ZrDIAssocOwnsMemory& operator=(const ZrDIAssocOwnsMemory&) = delete;

    const K& Key() const { return m_key; }
    V* Value() const { return m_value.get(); }
    // Replaces the owned value, deleting the old one.
    void SetValue(std::unique_ptr<V> value) { m_value = std::move(value); }
    uint32_t Hash() const { return m_hash; }

private:
    K m_key;
    std::unique_ptr<V> m_value;
    uint32_t m_hash;
};
