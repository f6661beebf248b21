// The conversion loops shared by every table-driven encoding: a codec says how one character is
// read from or written to bytes, and Converter<Codec> turns that into the four operations of the
// converter table (convert and validate, both directions), with recovery, failure accounting and
// byte order marks handled once here. Nothing throws; failures return false.
#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/codeset/escape.h"
#include "foundation/codeset/zrconverter.h"

namespace zr_codeset {

// What Decode reports for bytes that switch state but stand for no character (ISO-2022-JP escapes).
constexpr uint32_t kNoChar = 0xFFFFFFFFu;

// A codec is a type with:
//   struct State;                         per-conversion state, value-initialised
//   static int Decode(State&, const unsigned char* p, size_t left, uint32_t& cp);
//       > 0: bytes used, cp the character (or kNoChar); < 0: -(bytes) that do not decode. A code that
//       is well formed but unmapped counts whole; a malformed one counts its first byte, so that the
//       byte after it is read again (an ASCII byte is never swallowed by a broken lead byte).
//   static size_t Encode(State&, uint32_t cp, unsigned char* out);  bytes written (<= 8), 0: unmapped
//   static size_t Finish(State&, unsigned char* out);               closing bytes (<= 8)
//   static size_t Bom(unsigned char* out);                          the mark ADDBYTEORDERMARKER adds
//   static size_t SkipBom(State&, const unsigned char* p, size_t length);  leading bytes to ignore

inline void NoteFailure(ZrCodesetInfo* info, uint64_t position) {
    if (info) {
        if (info->failures == 0)
            info->errorPosition = position;
        ++info->failures;
    }
}

// Decoded characters gather here and reach the string in blocks.
class UnitSink {
public:
    explicit UnitSink(ZrUniString& out) : m_out(out) {}
    ~UnitSink() { Flush(); }
    void Put(uint32_t cp) {
        if (m_count + 2 > kSize)
            Flush();
        if (cp >= 0x10000) {
            cp -= 0x10000;
            m_units[m_count++] = static_cast<ZrUniChar>(0xD800 + (cp >> 10));
            m_units[m_count++] = static_cast<ZrUniChar>(0xDC00 + (cp & 0x3FF));
        } else {
            m_units[m_count++] = static_cast<ZrUniChar>(cp);
        }
    }
    void Flush() {
        if (m_count)
            m_out.Append(m_units, static_cast<uint32_t>(m_count));
        m_count = 0;
    }

private:
    static constexpr size_t kSize = 256;
    ZrUniString& m_out;
    ZrUniChar m_units[kSize];
    size_t m_count = 0;
};

// Encoded bytes gather here and reach the buffer in blocks.
class ByteSink {
public:
    explicit ByteSink(ZrByteBuffer& out) : m_out(out) {}
    ~ByteSink() { Flush(); }
    // Room for at least 16 bytes; Commit says how many were written.
    unsigned char* Reserve() {
        if (m_count + 16 > kSize)
            Flush();
        return m_bytes + m_count;
    }
    void Commit(size_t n) { m_count += n; }
    void Flush() {
        if (m_count)
            m_out.Append(m_bytes, m_count);
        m_count = 0;
    }

private:
    static constexpr size_t kSize = 1024;
    ZrByteBuffer& m_out;
    unsigned char m_bytes[kSize];
    size_t m_count = 0;
};

// The character at units[i]; `used` becomes 2 for a surrogate pair. An unpaired surrogate gives
// kNoChar: no encoding here can carry one.
inline uint32_t ReadScalar(const ZrUniChar* units, size_t count, size_t i, size_t& used) {
    uint32_t u = units[i];
    used = 1;
    if (u < 0xD800 || u > 0xDFFF)
        return u;
    if (u <= 0xDBFF && i + 1 < count && units[i + 1] >= 0xDC00 && units[i + 1] <= 0xDFFF) {
        used = 2;
        return 0x10000 + ((u - 0xD800) << 10) + (units[i + 1] - 0xDC00);
    }
    return kNoChar;
}

template <class Codec> struct Converter {
    using State = typename Codec::State;

    // Writes "\uXXXX" for one unit through the codec itself, so the escape reads right in the target
    // encoding (EBCDIC, UTF-16, after an ISO-2022-JP shift); a character of the escape that the
    // encoding lacks goes out as its ASCII byte.
    static void WriteEscape(State& state, ByteSink& sink, ZrUniChar unit) {
        static const char kHex[] = "0123456789ABCDEF";
        const char text[6] = {
            '\\',           'u', kHex[(unit >> 12) & 15], kHex[(unit >> 8) & 15], kHex[(unit >> 4) & 15],
            kHex[unit & 15]};
        for (char c : text) {
            unsigned char* p = sink.Reserve();
            size_t n = Codec::Encode(state, static_cast<unsigned char>(c), p);
            if (n == 0) {
                p[0] = static_cast<unsigned char>(c);
                n = 1;
            }
            sink.Commit(n);
        }
    }

    static bool To(const ZrUniChar* units, size_t count, ZrByteBuffer& out, ZrCodesetInfo* info,
                   unsigned options) {
        State state{};
        ByteSink sink(out);
        if (options & kZrEncOptionAddByteOrderMarker)
            sink.Commit(Codec::Bom(sink.Reserve()));
        const bool recover = options & kZrEncOptionRecoverable;
        for (size_t i = 0; i < count;) {
            size_t used;
            uint32_t cp = ReadScalar(units, count, i, used);
            unsigned char* p = sink.Reserve();
            size_t n = cp == kNoChar ? 0 : Codec::Encode(state, cp, p);
            if (n == 0) {
                NoteFailure(info, i);
                if (!recover)
                    return false;
                for (size_t k = 0; k < used; ++k)
                    WriteEscape(state, sink, units[i + k]);
            } else {
                sink.Commit(n);
            }
            i += used;
        }
        sink.Commit(Codec::Finish(state, sink.Reserve()));
        return true;
    }

    static bool From(const unsigned char* bytes, size_t length, ZrUniString& out, ZrCodesetInfo* info,
                     unsigned options) {
        State state{};
        UnitSink sink(out);
        const bool recover = options & kZrEncOptionRecoverable;
        for (size_t i = Codec::SkipBom(state, bytes, length); i < length;) {
            uint32_t cp;
            int n = Codec::Decode(state, bytes + i, length - i, cp);
            if (n > 0) {
                if (cp != kNoChar)
                    sink.Put(cp);
                i += static_cast<size_t>(n);
                continue;
            }
            NoteFailure(info, i);
            if (!recover)
                return false;
            sink.Put(kReplacementChar);
            i += static_cast<size_t>(-n);
        }
        return true;
    }

    static bool ValidateTo(const ZrUniChar* units, size_t count, ZrCodesetInfo* info, unsigned) {
        State state{};
        unsigned char scratch[16];
        for (size_t i = 0; i < count;) {
            size_t used;
            uint32_t cp = ReadScalar(units, count, i, used);
            if (cp == kNoChar || Codec::Encode(state, cp, scratch) == 0) {
                NoteFailure(info, i);
                return false;
            }
            i += used;
        }
        return true;
    }

    static bool ValidateFrom(const unsigned char* bytes, size_t length, ZrCodesetInfo* info, unsigned) {
        State state{};
        for (size_t i = Codec::SkipBom(state, bytes, length); i < length;) {
            uint32_t cp;
            int n = Codec::Decode(state, bytes + i, length - i, cp);
            if (n <= 0) {
                NoteFailure(info, i);
                return false;
            }
            i += static_cast<size_t>(n);
        }
        return true;
    }

    static constexpr ZrConverter Make(const char* name) { return {To, From, ValidateTo, ValidateFrom, name}; }
};

// Defaults for codecs without state, marks or closing bytes.
struct StatelessCodec {
    struct State {};
    static size_t Finish(State&, unsigned char*) { return 0; }
    static size_t Bom(unsigned char*) { return 0; }
    static size_t SkipBom(State&, const unsigned char*, size_t) { return 0; }
};

} // namespace zr_codeset
