// ZrStructUniStringT: a text field of the file-server control records, a ZrUniString with the codeset
// it travels in (40, 16-bit little-endian units, by default). The terminated layout is the text's
// units followed by one zero unit, with no length and no padding. Read fails when no zero unit is found.
#pragma once

#include <cstdint>

#include "foundation/codeset/zrconverter.h"
#include "foundation/string/zrunistring.h"

enum ZrStructUniStringLayout : unsigned { terminator = 1 };

template <ZrStructUniStringLayout Layout> class ZrStructUniStringT {
    static_assert(Layout == terminator, "only the terminated layout is on the wire");

public:
    ZrStructUniStringT() = default;
    ZrStructUniStringT(const ZrUniString& text, unsigned codeset = kZrEncodingUnicodeLsb)
        : m_text(text), m_codeset(codeset) {}
    ZrStructUniStringT(const char* utf8) : m_text(utf8) {}

    const ZrUniString& Text() const { return m_text; }
    unsigned Codeset() const { return m_codeset; }

    // Bytes on the wire, terminating unit included.
    unsigned long PackedSize() const;
    void PackTo(unsigned char*& out) const;
    // Scans two bytes at a time for a zero unit; the units before it become the text, in codeset 40.
    [[nodiscard]] bool Read(const unsigned char*& data, unsigned long& remaining);

    // Text and codeset.
    bool operator==(const ZrStructUniStringT& other) const {
        return m_codeset == other.m_codeset && m_text == other.m_text;
    }
    bool operator!=(const ZrStructUniStringT& other) const { return !(*this == other); }

private:
    ZrUniString m_text;
    unsigned m_codeset = kZrEncodingUnicodeLsb;
};

using ZrControlString = ZrStructUniStringT<terminator>;
