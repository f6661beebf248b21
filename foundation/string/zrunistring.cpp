#include "foundation/string/zrunistring.h"

#include <cstring>

#include "foundation/codeset/zrcodesetconverter.h"

ZrUniString::ZrUniString(const char* utf8) {
    if (!utf8)
        return;
    // Mostly short ASCII literals: widen them straight into a block sized by the growth rule, and
    // hand anything else to the converter.
    uint64_t length = std::strlen(utf8);
    if (length == 0)
        return;
    m_pRep = ZrByteBufferRep::New(length * 2, ZrByteBufferRep::GrownCapacity(length * 2));
    auto* units = reinterpret_cast<ZrUniChar*>(m_pRep->m_data);
    const auto* bytes = reinterpret_cast<const unsigned char*>(utf8);
    unsigned char seen = 0;
    for (uint64_t i = 0; i < length; ++i) {
        seen |= bytes[i];
        units[i] = bytes[i];
    }
    if (seen >= 0x80) {
        Clear();
        // A constructor cannot report: bytes that are not UTF-8 give the text that decoded.
        (void)CreateFrom(utf8, length, kZrEncodingUtf8, 0);
    }
}

ZrUniString::ZrUniString(const ZrUniChar* units, uint32_t count) {
    Append(units, count);
}

ZrUniString::ZrUniString(std::u16string_view units) {
    Append(units.data(), static_cast<uint32_t>(units.size()));
}

ZrUniString& ZrUniString::operator=(const char* utf8) {
    Truncate(0);
    if (utf8)
        (void)CreateFrom(utf8, std::strlen(utf8), kZrEncodingUtf8, 0); // as the constructor
    return *this;
}

bool ZrUniString::_equal(const ZrUniString& other) const {
    return ZrByteBuffer::_equal(other);
}

bool ZrUniString::operator==(const ZrUniString& other) const {
    return Length() == other.Length() && _equal(other);
}

ZrUniString ZrUniString::operator+(const ZrUniString& other) const {
    ZrUniString result(*this);
    result.Append(other);
    return result;
}

ZrUniString& ZrUniString::Append(const ZrUniString& other) {
    if (other.Length() == 0)
        return *this;
    if (Length() == 0) {
        // Appending to nothing can share the other string's storage.
        *this = other;
        return *this;
    }
    // Copy the other handle first: it may share this string's representation.
    ZrByteBuffer keep(other);
    ZrByteBuffer::Append(keep.Data(), keep.Length());
    return *this;
}

ZrUniString& ZrUniString::AppendSlow(ZrUniChar unit) {
    ZrByteBuffer::Append(&unit, sizeof unit);
    return *this;
}

ZrUniString& ZrUniString::Append(const ZrUniChar* units, uint32_t count) {
    if (count)
        ZrByteBuffer::Append(units, uint64_t(count) * 2);
    return *this;
}

void ZrUniString::Extend(uint32_t n) {
    uint32_t length = Length();
    if (n == length)
        return;
    uint64_t bytes = uint64_t(n) * 2;
    if (!m_pRep) {
        m_pRep = ZrByteBufferRep::New(bytes, ZrByteBufferRep::GrownCapacity(bytes));
        return;
    }
    MakeWritable();
    if (n > length && bytes >= m_pRep->m_capacity) {
        m_pRep->_extend(bytes, true);
    } else {
        if (n < length)
            ZrSecureWipe(m_pRep->m_data + bytes, m_pRep->m_length - bytes);
        m_pRep->m_length = bytes;
    }
}

void ZrUniString::Pad(uint32_t n, ZrUniChar unit) {
    uint32_t length = Length();
    Truncate(n);
    if (n > length) {
        ZrUniChar* units = MutableUnits();
        for (uint32_t i = length; i < n; ++i)
            units[i] = unit;
    }
}

void ZrUniString::Set(uint32_t i, ZrUniChar unit) {
    MutableUnits()[i] = unit;
}

void ZrUniString::Remove(uint32_t start, uint32_t count) {
    RemoveBytes(uint64_t(start) * 2, uint64_t(count) * 2);
}

void ZrUniString::Insert(uint32_t position, const ZrUniString& text) {
    if (text.Length() == 0)
        return;
    ZrByteBuffer keep(text);
    InsertBytes(uint64_t(position) * 2, keep.Data(), keep.Length());
}

ZrUniString ZrUniString::SubString(uint32_t start, uint32_t count) const {
    uint32_t length = Length();
    if (count == npos)
        count = start < length ? length - start : 0;
    return ZrUniString(Units() + start, count);
}

uint32_t ZrUniString::SearchFrom(uint32_t start, ZrUniChar unit) const {
    const ZrUniChar* units = Units();
    for (uint32_t i = start, n = Length(); i < n; ++i)
        if (units[i] == unit)
            return i;
    return npos;
}

uint32_t ZrUniString::SearchReverse(ZrUniChar unit) const {
    uint32_t length = Length();
    return length ? SearchReverseFrom(length - 1, unit) : npos;
}

uint32_t ZrUniString::SearchReverseFrom(uint32_t start, ZrUniChar unit) const {
    uint32_t length = Length();
    if (start == npos || length == 0)
        return npos;
    const ZrUniChar* units = Units();
    for (uint32_t i = start < length ? start + 1 : length; i-- > 0;)
        if (units[i] == unit)
            return i;
    return npos;
}

uint32_t ZrUniString::SearchFrom(uint32_t start, const ZrUniString& text) const {
    uint32_t length = Length(), tlen = text.Length();
    if (start >= length)
        return npos;
    if (tlen == 0)
        return start;
    const ZrUniChar* units = Units();
    const ZrUniChar* t = text.Units();
    for (uint32_t i = start; tlen <= length && i <= length - tlen; ++i)
        if (units[i] == t[0] && std::memcmp(units + i, t, uint64_t(tlen) * 2) == 0)
            return i;
    return npos;
}

uint32_t ZrUniString::SearchReverseFrom(uint32_t start, const ZrUniString& text) const {
    uint32_t length = Length(), tlen = text.Length();
    if (start == npos || length == 0 || tlen > length)
        return npos;
    uint32_t last = length - tlen;
    uint32_t i = start < last ? start : last;
    if (tlen == 0)
        return i;
    const ZrUniChar* units = Units();
    const ZrUniChar* t = text.Units();
    for (++i; i-- > 0;)
        if (units[i] == t[0] && std::memcmp(units + i, t, uint64_t(tlen) * 2) == 0)
            return i;
    return npos;
}

uint32_t ZrUniString::SearchFirstNotIn(const ZrUniString& set) const {
    uint32_t length = Length();
    if (length == 0)
        return npos;
    if (set.Length() == 0)
        return 0;
    const ZrUniChar* units = Units();
    for (uint32_t i = 0; i < length; ++i)
        if (set.Search(units[i]) == npos)
            return i;
    return npos;
}

uint32_t ZrUniString::Substitute(const ZrUniString& from, const ZrUniString& to) {
    if (from.Length() == 0)
        return 0;
    // Hold our own handles: `from` or `to` may share storage with this string.
    ZrUniString f(from), t(to);
    uint32_t replaced = 0;
    uint32_t pos = SearchFrom(0, f);
    while (pos != npos) {
        Remove(pos, f.Length());
        Insert(pos, t);
        ++replaced;
        pos = SearchFrom(pos + t.Length(), f);
    }
    return replaced;
}

ZrUniChar ZrUniString::Lower(ZrUniChar c) {
    if (c < 0x80)
        return (c >= 'A' && c <= 'Z') ? ZrUniChar(c + 32) : c;
    if ((c >= 0xC0 && c <= 0xDE && c != 0xD7) || (c >= 0x391 && c <= 0x3AB && c != 0x3A2) ||
        (c >= 0x410 && c <= 0x42F))
        return ZrUniChar(c + 32);
    if (c >= 0x400 && c <= 0x40F)
        return ZrUniChar(c + 80);
    // Latin Extended-A pairs capitals with the following code (odd/even), with two shifted ranges.
    if ((c >= 0x100 && c <= 0x137) || (c >= 0x14A && c <= 0x177))
        return ZrUniChar(c | 1);
    if ((c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E))
        return (c & 1) ? ZrUniChar(c + 1) : c;
    if (c == 0x178)
        return 0xFF;
    return c;
}

ZrUniChar ZrUniString::Upper(ZrUniChar c) {
    if (c < 0x80)
        return (c >= 'a' && c <= 'z') ? ZrUniChar(c - 32) : c;
    if ((c >= 0xE0 && c <= 0xFE && c != 0xF7) || (c >= 0x3B1 && c <= 0x3CB && c != 0x3C2) ||
        (c >= 0x430 && c <= 0x44F))
        return ZrUniChar(c - 32);
    if (c >= 0x450 && c <= 0x45F)
        return ZrUniChar(c - 80);
    if ((c >= 0x100 && c <= 0x137) || (c >= 0x14A && c <= 0x177))
        return ZrUniChar(c & ~1);
    if ((c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E))
        return (c & 1) ? c : ZrUniChar(c - 1);
    if (c == 0xFF)
        return 0x178;
    return c;
}

ZrUniString ZrUniString::Lower() const {
    ZrUniString result(*this);
    uint32_t n = Length();
    for (uint32_t i = 0; i < n; ++i) {
        ZrUniChar lower = Lower(result[i]);
        if (lower != result[i])
            result.Set(i, lower);
    }
    return result;
}

ZrUniString ZrUniString::Upper() const {
    ZrUniString result(*this);
    uint32_t n = Length();
    for (uint32_t i = 0; i < n; ++i) {
        ZrUniChar upper = Upper(result[i]);
        if (upper != result[i])
            result.Set(i, upper);
    }
    return result;
}

bool ZrUniString::MatchCaseless(const ZrUniString& text) const {
    uint32_t n = Length();
    if (n != text.Length())
        return false;
    for (uint32_t i = 0; i < n; ++i)
        if (Lower((*this)[i]) != Lower(text[i]))
            return false;
    return true;
}

bool ZrUniString::CreateFrom(const void* bytes, uint64_t length, unsigned encoding, unsigned options) {
    Truncate(0);
    if (length == 0)
        return encoding < kZrEncodingNone; // no encoding converts even nothing
    // The decoders size the string once and copy ASCII runs themselves.
    const auto* p = static_cast<const unsigned char*>(bytes);
    return ZrCodesetConverter::GetConverter(encoding).from(p, length, *this, nullptr, options);
}

bool ZrUniString::AsEncoding(unsigned encoding, unsigned options, ZrByteBuffer& out) const {
    out.Clear();
    return ZrCodesetConverter::GetConverter(encoding).to(Units(), Length(), out, nullptr, options);
}

ZrByteBuffer ZrUniString::AsEncoding(unsigned encoding, unsigned options) const {
    ZrByteBuffer out;
    if (!AsEncoding(encoding, options, out))
        out.Clear();
    return out;
}

bool ZrUniString::IsValid(const ZrByteBuffer& bytes, unsigned encoding, unsigned options) {
    return ZrCodesetConverter::GetConverter(encoding).validateFrom(bytes.Data(), bytes.Length(), nullptr,
                                                                   options);
}

std::string ZrUniString::AsUtf8() const {
    ZrByteBuffer bytes;
    // Recoverable: what does not encode becomes a replacement, so nothing is lost to report.
    (void)AsEncoding(kZrEncodingUtf8, kZrEncOptionRecoverable, bytes);
    return std::string(reinterpret_cast<const char*>(bytes.Data()), bytes.Length());
}

uint32_t ZrUniString::AsUint32() const {
    uint64_t value = 0;
    for (uint32_t i = 0, n = Length(); i < n; ++i) {
        ZrUniChar c = (*this)[i];
        if (c < u'0' || c > u'9')
            break;
        value = value * 10 + (c - u'0');
        if (value > 0xFFFFFFFFu)
            return 0;
    }
    return static_cast<uint32_t>(value);
}
