// ZrUniString: the text type of the whole system, 16-bit code units in machine order stored in a
// copy-on-write ZrByteBuffer. Built from zero-terminated byte strings as UTF-8. Positions are unsigned
// 32-bit unit indices; a failed search returns ZrUniString::npos (all bits set, "-1").
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "foundation/crypto/zrsecurewipe.h"
#include "foundation/string/zrbytebuffer.h"

using ZrUniChar = char16_t;

class ZrUniString : public ZrByteBuffer {
public:
    static constexpr uint32_t npos = 0xFFFFFFFFu;

    ZrUniString() = default;
    // UTF-8 (codeset 42); a null pointer gives an empty string.
    ZrUniString(const char* utf8);
    ZrUniString(const ZrUniChar* units, uint32_t count);
    explicit ZrUniString(std::u16string_view units);
    ZrUniString& operator=(const char* utf8);

    uint32_t Length() const { return static_cast<uint32_t>(ZrByteBuffer::Length() / 2); }
    const ZrUniChar* Units() const { return reinterpret_cast<const ZrUniChar*>(Data()); }
    ZrUniChar operator[](uint32_t i) const { return Units()[i]; }
    std::u16string_view View() const { return {Units(), Length()}; }

    bool _equal(const ZrUniString& other) const;
    bool operator==(const ZrUniString& other) const;
    bool operator!=(const ZrUniString& other) const { return !(*this == other); }
    bool operator==(const char* utf8) const { return *this == ZrUniString(utf8); }

    ZrUniString operator+(const ZrUniString& other) const;
    ZrUniString& operator+=(const ZrUniString& other) { return Append(other); }
    ZrUniString& Append(const ZrUniString& other);
    // A private representation with room is written directly; anything else (shared, missing, full)
    // takes the general path, which makes it private and grows it by the usual rule.
    ZrUniString& Append(ZrUniChar unit) {
        if (m_pRep && m_pRep->m_refCount == 1 && m_pRep->m_length + sizeof unit < m_pRep->m_capacity) {
            std::memcpy(m_pRep->m_data + m_pRep->m_length, &unit, sizeof unit);
            m_pRep->m_length += sizeof unit;
            return *this;
        }
        return AppendSlow(unit);
    }
    ZrUniString& Append(const ZrUniChar* units, uint32_t count);

    // Shorter: cut to n units, wiping the units cut off. Longer: the new units are left undefined
    // (see Pad).
    void Truncate(uint32_t n) {
        // Cutting a string this handle alone holds is the common case (every conversion ends so).
        if (m_pRep && m_pRep->m_refCount == 1 && uint64_t(n) * 2 <= m_pRep->m_length) {
            const uint64_t bytes = uint64_t(n) * 2;
            ZrSecureWipe(m_pRep->m_data + bytes, m_pRep->m_length - bytes);
            m_pRep->m_length = bytes;
        } else {
            Extend(n);
        }
    }
    void Pad(uint32_t n, ZrUniChar unit);
    void Set(uint32_t i, ZrUniChar unit);
    void Remove(uint32_t start, uint32_t count);
    void Insert(uint32_t position, const ZrUniString& text);

    // `count` of npos means up to the end; no range check.
    ZrUniString SubString(uint32_t start, uint32_t count = npos) const;

    uint32_t Search(ZrUniChar unit) const { return SearchFrom(0, unit); }
    uint32_t SearchFrom(uint32_t start, ZrUniChar unit) const;
    uint32_t SearchReverse(ZrUniChar unit) const;
    uint32_t SearchReverseFrom(uint32_t start, ZrUniChar unit) const;
    uint32_t SearchFrom(uint32_t start, const ZrUniString& text) const;
    uint32_t SearchReverseFrom(uint32_t start, const ZrUniString& text) const;
    uint32_t SearchFirstNotIn(const ZrUniString& set) const;

    // Replaces every occurrence of `from` left to right, resuming after each inserted `to`.
    uint32_t Substitute(const ZrUniString& from, const ZrUniString& to);
    bool MatchCaseless(const ZrUniString& text) const;

    static ZrUniChar Lower(ZrUniChar unit);
    static ZrUniChar Upper(ZrUniChar unit);
    ZrUniString Lower() const;
    ZrUniString Upper() const;

    // Codeset entry points. CreateFrom replaces the contents with the decoded bytes and returns
    // whether every byte converted; AsEncoding returns the encoded bytes (empty on failure unless
    // the options ask for recovery); IsValid tells whether the bytes convert.
    [[nodiscard]] bool CreateFrom(const void* bytes, uint64_t length, unsigned encoding, unsigned options);
    ZrByteBuffer AsEncoding(unsigned encoding, unsigned options) const;
    [[nodiscard]] bool AsEncoding(unsigned encoding, unsigned options, ZrByteBuffer& out) const;
    static bool IsValid(const ZrByteBuffer& bytes, unsigned encoding, unsigned options);

    // The leading decimal digits as a number; 0 when there are none or they do not fit 32 bits.
    uint32_t AsUint32() const;

    // The text as UTF-8, for the C library and for tests.
    std::string AsUtf8() const;

private:
    // Truncate for everything but cutting a private representation: growing, sharing, none yet.
    void Extend(uint32_t n);
    ZrUniString& AppendSlow(ZrUniChar unit);
    ZrUniChar* MutableUnits() { return reinterpret_cast<ZrUniChar*>(MutableData()); }
};
