// The conversion loop shared by every encoding: a codec says how one character is read from or
// written to bytes, and Converter<Codec> turns that into the four operations of the
// converter table (convert and validate, both directions), with recovery, failure accounting and
// byte order marks handled once here. Nothing throws; failures return false.
#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/codeset/zrconverter.h"

namespace zr_codeset {

// The most bytes Encode, Finish or Bom writes at once.
constexpr size_t kMaxCodeBytes = 8;

// A byte sequence that does not decode becomes U+FFFD, one per offending byte, when recovering; a
// unit that the target encoding cannot hold is written as the text "\uXXXX" (see WriteEscape).
constexpr ZrUniChar kReplacementChar = 0xFFFD;

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

// Decoded characters go straight into the string. No encoding here gives more units than it reads
// bytes, so the string is sized once for the whole input and cut to what was written at the end.
class UnitSink {
public:
    UnitSink(ZrUniString& out, size_t length) : m_out(out), m_base(out.Length()) {
        m_out.Truncate(static_cast<uint32_t>(m_base + length));
        m_pos = reinterpret_cast<ZrUniChar*>(m_out.MutableData()) + m_base;
        m_begin = m_pos;
    }
    ~UnitSink() { m_out.Truncate(static_cast<uint32_t>(m_base + (m_pos - m_begin))); }
    UnitSink(const UnitSink&) = delete;
    UnitSink& operator=(const UnitSink&) = delete;

    void Put(uint32_t cp) {
        if (cp >= 0x10000) {
            cp -= 0x10000;
            *m_pos++ = static_cast<ZrUniChar>(0xD800 + (cp >> 10));
            *m_pos++ = static_cast<ZrUniChar>(0xDC00 + (cp & 0x3FF));
        } else {
            *m_pos++ = static_cast<ZrUniChar>(cp);
        }
    }
    // Whether a string of `base` units can take `length` more (lengths are 32-bit).
    static bool Fits(uint32_t base, size_t length) { return length <= 0xFFFFFFFFu - base; }

private:
    ZrUniString& m_out;
    uint32_t m_base;
    ZrUniChar* m_begin;
    ZrUniChar* m_pos;
};

// One step of a decoding loop done by the codec: the character at bytes + i into the sink (a mere
// change of state gives no unit), or, for bytes that do not decode, the failure noted and, when
// recovering, the replacement character. False when a strict conversion has to stop there.
template <class Codec>
inline bool DecodeStep(typename Codec::State& state, const unsigned char* bytes, size_t length, size_t& i,
                       UnitSink& sink, ZrCodesetInfo* info, bool recover) {
    uint32_t cp;
    int n = Codec::Decode(state, bytes + i, length - i, cp);
    if (n > 0) {
        if (cp != kNoChar)
            sink.Put(cp);
        i += static_cast<size_t>(n);
        return true;
    }
    NoteFailure(info, i);
    if (!recover)
        return false;
    sink.Put(kReplacementChar);
    i += static_cast<size_t>(-n);
    return true;
}

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
    static void WriteEscape(State& state, ZrByteBuffer& out, ZrUniChar unit) {
        static const char kHex[] = "0123456789ABCDEF";
        const char text[6] = {
            '\\',           'u', kHex[(unit >> 12) & 15], kHex[(unit >> 8) & 15], kHex[(unit >> 4) & 15],
            kHex[unit & 15]};
        for (char c : text) {
            unsigned char bytes[kMaxCodeBytes];
            size_t n = Codec::Encode(state, static_cast<unsigned char>(c), bytes);
            if (n == 0) {
                bytes[0] = static_cast<unsigned char>(c);
                n = 1;
            }
            out.Append(bytes, n);
        }
    }

    // Bytes that would be appended to nothing are not appended: an empty result stays without storage.
    static void Put(ZrByteBuffer& out, const unsigned char* bytes, size_t n) {
        if (n)
            out.Append(bytes, n);
    }

    static bool To(const ZrUniChar* units, size_t count, ZrByteBuffer& out, ZrCodesetInfo* info,
                   unsigned options) {
        State state{};
        unsigned char bytes[kMaxCodeBytes];
        if (options & kZrEncOptionAddByteOrderMarker)
            Put(out, bytes, Codec::Bom(bytes));
        const bool recover = options & kZrEncOptionRecoverable;
        for (size_t i = 0; i < count;) {
            size_t used;
            uint32_t cp = ReadScalar(units, count, i, used);
            size_t n = cp == kNoChar ? 0 : Codec::Encode(state, cp, bytes);
            if (n == 0) {
                NoteFailure(info, i);
                if (!recover)
                    return false;
                for (size_t k = 0; k < used; ++k)
                    WriteEscape(state, out, units[i + k]);
            } else {
                out.Append(bytes, n);
            }
            i += used;
        }
        Put(out, bytes, Codec::Finish(state, bytes));
        return true;
    }

    static bool From(const unsigned char* bytes, size_t length, ZrUniString& out, ZrCodesetInfo* info,
                     unsigned options) {
        State state{};
        if (!UnitSink::Fits(out.Length(), length)) {
            NoteFailure(info, 0);
            return false;
        }
        UnitSink sink(out, length);
        const bool recover = options & kZrEncOptionRecoverable;
        for (size_t i = Codec::SkipBom(state, bytes, length); i < length;) {
            if (!DecodeStep<Codec>(state, bytes, length, i, sink, info, recover))
                return false;
        }
        return true;
    }

    static bool ValidateTo(const ZrUniChar* units, size_t count, ZrCodesetInfo* info, unsigned) {
        State state{};
        unsigned char scratch[kMaxCodeBytes];
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
