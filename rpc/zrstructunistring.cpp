#include "rpc/zrstructunistring.h"

#include <bit>
#include <cstring>

// Codeset 40 is written straight from the units, least significant byte first, whatever the
// machine's order; other codesets go through the converter.
template <> unsigned long ZrStructUniStringT<terminator>::PackedSize() const {
    if (m_codeset == kZrEncodingUnicodeLsb)
        return 2ul * m_text.Length() + 2;
    return static_cast<unsigned long>(m_text.AsEncoding(m_codeset, 0).Length()) + 2;
}

template <> void ZrStructUniStringT<terminator>::PackTo(unsigned char*& out) const {
    if (m_codeset == kZrEncodingUnicodeLsb) {
        const ZrUniChar* units = m_text.Units();
        uint32_t n = m_text.Length();
        if constexpr (std::endian::native == std::endian::little) {
            if (n)
                std::memcpy(out, units, 2ul * n);
            out += 2ul * n;
        } else {
            for (uint32_t i = 0; i < n; ++i) {
                *out++ = static_cast<unsigned char>(units[i]);
                *out++ = static_cast<unsigned char>(units[i] >> 8);
            }
        }
    } else {
        ZrByteBuffer bytes = m_text.AsEncoding(m_codeset, 0);
        if (bytes.Length())
            std::memcpy(out, bytes.Data(), bytes.Length());
        out += bytes.Length();
    }
    *out++ = 0;
    *out++ = 0;
}

template <> bool ZrStructUniStringT<terminator>::Read(const unsigned char*& data, unsigned long& remaining) {
    unsigned long units = 0;
    while (2 * units + 2 <= remaining && (data[2 * units] | data[2 * units + 1]) != 0)
        ++units;
    if (2 * units + 2 > remaining)
        return false;
    m_text.Truncate(0);
    if constexpr (std::endian::native == std::endian::little) {
        // The bytes are already units in machine order; copied bytewise, so alignment does not matter.
        m_text.Append(reinterpret_cast<const ZrUniChar*>(data), static_cast<uint32_t>(units));
    } else {
        for (unsigned long i = 0; i < units; ++i)
            m_text.Append(static_cast<ZrUniChar>(data[2 * i] | data[2 * i + 1] << 8));
    }
    m_codeset = kZrEncodingUnicodeLsb;
    data += 2 * units + 2;
    remaining -= 2 * units + 2;
    return true;
}
