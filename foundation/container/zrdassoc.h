// ZrDDAssoc<K, V> and ZrDIAssocOwnsMemory<K, V>: the key/value pairs a ZrDictionary holds. A pair
// owns its key and value (ZrDIAssocOwnsMemory: a heap value it deletes); the dictionary owns the pairs
// it holds. The key is fixed at construction, with its hash kept beside it.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>
#include <utility>

#include "foundation/container/zrdhash.h"

// What a pair remembers of its key for lookups: the hash and, for byte-buffer keys, where the bytes
// are. The pair's key handle is never written, and any other handle that shares its storage copies
// before writing, so the bytes stay put for the pair's life; comparing them directly saves the trip
// through the key's representation on every probe.
template <class K, bool Bytes = std::is_base_of_v<ZrByteBuffer, K>> class ZrDKeyProbe {
public:
    explicit ZrDKeyProbe(const K& key, uint32_t hash)
        : m_bytes(key.Data()), m_length(static_cast<const ZrByteBuffer&>(key).Length()), m_hash(hash) {}
    bool Matches(const K&, const K& probe, uint32_t hash) const {
        return hash == m_hash && static_cast<const ZrByteBuffer&>(probe).Length() == m_length &&
               (m_length == 0 || std::memcmp(m_bytes, probe.Data(), m_length) == 0);
    }
    uint32_t Hash() const { return m_hash; }

private:
    const unsigned char* m_bytes;
    uint64_t m_length;
    uint32_t m_hash;
};

template <class K> class ZrDKeyProbe<K, false> {
public:
    explicit ZrDKeyProbe(const K&, uint32_t hash) : m_hash(hash) {}
    bool Matches(const K& key, const K& probe, uint32_t hash) const { return hash == m_hash && key == probe; }
    uint32_t Hash() const { return m_hash; }

private:
    uint32_t m_hash;
};

template <class K, class V> class ZrDDAssoc {
public:
    using KeyType = K;
    using ValueType = V;

    explicit ZrDDAssoc(K key, V value = V())
        : m_key(std::move(key)), m_probe(m_key, ZrKeyHash(m_key)), m_value(std::move(value)) {}
    // For callers that hashed the key already.
    ZrDDAssoc(K key, V value, uint32_t hash)
        : m_key(std::move(key)), m_probe(m_key, hash), m_value(std::move(value)) {}
    ZrDDAssoc(const ZrDDAssoc&) = delete;
    ZrDDAssoc& operator=(const ZrDDAssoc&) = delete;

    const K& Key() const { return m_key; }
    V& Value() { return m_value; }
    const V& Value() const { return m_value; }
    uint32_t Hash() const { return m_probe.Hash(); }
    // Whether `key`, whose hash is `hash`, equals this pair's key.
    bool Matches(const K& key, uint32_t hash) const { return m_probe.Matches(m_key, key, hash); }

private:
    K m_key;
    ZrDKeyProbe<K> m_probe;
    V m_value;
};

template <class K, class V> class ZrDIAssocOwnsMemory {
public:
    using KeyType = K;
    using ValueType = V;

    ZrDIAssocOwnsMemory(K key, std::unique_ptr<V> value)
        : m_key(std::move(key)), m_probe(m_key, ZrKeyHash(m_key)), m_value(std::move(value)) {}
    ZrDIAssocOwnsMemory(const ZrDIAssocOwnsMemory&) = delete;
    ZrDIAssocOwnsMemory& operator=(const ZrDIAssocOwnsMemory&) = delete;

    const K& Key() const { return m_key; }
    V* Value() const { return m_value.get(); }
    // Replaces the owned value, deleting the old one.
    void SetValue(std::unique_ptr<V> value) { m_value = std::move(value); }
    uint32_t Hash() const { return m_probe.Hash(); }
    bool Matches(const K& key, uint32_t hash) const { return m_probe.Matches(m_key, key, hash); }

private:
    K m_key;
    ZrDKeyProbe<K> m_probe;
    std::unique_ptr<V> m_value;
};
