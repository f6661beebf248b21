// The conversion loops shared by every table-driven encoding: a codec says how one character is
// read from or written to bytes, and Converter<Codec> turns that into the four operations of the
// converter table (convert and validate, both directions), with recovery, failure accounting and
// byte order marks handled once here. Nothing throws; failures return false.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "foundation/codeset/charmaptable.h"
#include "foundation/codeset/escape.h"
#include "foundation/codeset/zrconverter.h"
#include "foundation/string/zrhexdigits.h"

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
//   static constexpr size_t kExpectedBytesPerUnit;  typical output per unit, to size long results
//   static bool AsciiSame();              optional: bytes 00-7F are the same characters both ways

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
    // The write position, for decoders that store units themselves (never past the sized length).
    ZrUniChar*& Cursor() { return m_pos; }
    // Copies the ASCII bytes at the start of [p, p + left) as units; returns how many.
    size_t PutAscii(const unsigned char* p, size_t left) {
        size_t n = CopyAscii(p, left, m_pos);
        m_pos += n;
        return n;
    }

    // Whether a string of `base` units can take `length` more (lengths are 32-bit).
    static bool Fits(uint32_t base, size_t length) { return length <= 0xFFFFFFFFu - base; }

    static size_t CopyAscii(const unsigned char* p, size_t left, ZrUniChar* out) {
        size_t i = 0;
        for (; i + 8 <= left; i += 8) {
            uint64_t x;
            std::memcpy(&x, p + i, 8);
            if (x & 0x8080808080808080ull)
                break;
            for (size_t k = 0; k < 8; ++k)
                out[i + k] = p[i + k];
        }
        while (i < left && p[i] < 0x80) {
            out[i] = p[i];
            ++i;
        }
        return i;
    }

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

// Encoded bytes written straight into the buffer, which stays sized for what is left at `perUnit`
// bytes a unit (growing by doubling when a character takes more); cut to what was written at the end.
class DirectBytes {
public:
    DirectBytes(ZrByteBuffer& out, size_t count, size_t perUnit)
        : m_out(out), m_base(out.Length()), m_perUnit(perUnit) {
        Grow(count * perUnit + kSlack);
    }
    ~DirectBytes() { m_out.Resize(m_base + m_written); }
    DirectBytes(const DirectBytes&) = delete;
    DirectBytes& operator=(const DirectBytes&) = delete;

    unsigned char* Data() { return m_data; }
    size_t& Written() { return m_written; }
    // Appends n bytes, keeping room for `left` more units.
    void Put(const unsigned char* bytes, size_t n, size_t left) {
        size_t need = m_written + n + left * m_perUnit + kSlack;
        if (need > m_room)
            Grow(need > 2 * m_room ? need : 2 * m_room);
        std::memcpy(m_data + m_written, bytes, n);
        m_written += n;
    }

private:
    static constexpr size_t kSlack = 8; // loops may store a few bytes past what they count
    void Grow(size_t room) {
        m_room = room;
        m_out.Resize(m_base + room);
        m_data = m_out.MutableData() + m_base;
    }
    ZrByteBuffer& m_out;
    uint64_t m_base;
    size_t m_perUnit;
    size_t m_room = 0;
    size_t m_written = 0;
    unsigned char* m_data = nullptr;
};

// Encoded bytes gather here and reach the buffer in blocks: a short result is one append of exactly
// its size. A long one has room reserved up front from the caller's estimate, so that the blocks do
// not regrow the buffer on the way.
class ByteSink {
public:
    explicit ByteSink(ZrByteBuffer& out, size_t expected = 0) : m_out(out) {
        if (expected > kSize) {
            uint64_t base = out.Length();
            out.Resize(base + expected);
            out.Resize(base);
        }
    }
    ~ByteSink() { Flush(); }
    ByteSink(const ByteSink&) = delete;
    ByteSink& operator=(const ByteSink&) = delete;

    // Room for at least 16 bytes; Commit says how many were written.
    unsigned char* Reserve() {
        if (m_count + 16 > kSize)
            Flush();
        return m_bytes + m_count;
    }
    // Bytes that may be written after Reserve.
    size_t Room() const { return kSize - m_count; }
    void Commit(size_t n) { m_count += n; }
    void Flush() {
        if (m_count)
            m_out.Append(m_bytes, m_count);
        m_count = 0;
    }

    // Copies the units below 0x80 at the start of [units, units + count) as bytes, at most Room();
    // returns how many.
    size_t PutAscii(const ZrUniChar* units, size_t count) {
        unsigned char* p = Reserve();
        size_t limit = count < Room() ? count : Room(), i = 0;
        for (; i + 4 <= limit; i += 4) {
            uint64_t x;
            std::memcpy(&x, units + i, 8);
            if (x & 0xFF80FF80FF80FF80ull)
                break;
            for (size_t k = 0; k < 4; ++k)
                p[i + k] = static_cast<unsigned char>(units[i + k]);
        }
        while (i < limit && units[i] < 0x80) {
            p[i] = static_cast<unsigned char>(units[i]);
            ++i;
        }
        m_count += i;
        return i;
    }

private:
    static constexpr size_t kSize = 1024;
    ZrByteBuffer& m_out;
    unsigned char m_bytes[kSize];
    size_t m_count = 0;
};

// Whether a codec reads and writes bytes 00-7F as the same characters (then runs of them skip the
// codec). Codecs say so by a static AsciiSame(); those that do not are never taken as such.
template <class Codec> bool AsciiSame() {
    if constexpr (requires { Codec::AsciiSame(); })
        return Codec::AsciiSame();
    else
        return false;
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
    static void WriteEscape(State& state, ByteSink& sink, ZrUniChar unit) {
        constexpr const char* kHex = kZrHexDigits;
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
        ByteSink sink(out, count * Codec::kExpectedBytesPerUnit);
        if (options & kZrEncOptionAddByteOrderMarker)
            sink.Commit(Codec::Bom(sink.Reserve()));
        const bool recover = options & kZrEncOptionRecoverable;
        const bool ascii = AsciiSame<Codec>();
        for (size_t i = 0; i < count;) {
            if (ascii && units[i] < 0x80) {
                i += sink.PutAscii(units + i, count - i);
                continue;
            }
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
        if (!UnitSink::Fits(out.Length(), length)) {
            NoteFailure(info, 0);
            return false;
        }
        UnitSink sink(out, length);
        const bool recover = options & kZrEncOptionRecoverable;
        const bool ascii = AsciiSame<Codec>();
        for (size_t i = Codec::SkipBom(state, bytes, length); i < length;) {
            if (ascii && bytes[i] < 0x80) {
                i += sink.PutAscii(bytes + i, length - i);
                continue;
            }
            if (!DecodeStep<Codec>(state, bytes, length, i, sink, info, recover))
                return false;
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

// The grid of a table, read into locals once per conversion.
struct Grid {
    const uint16_t* cells;
    unsigned leadLo, leadSpan, trailLo, trailSpan, width;

    explicit Grid(const CharmapTable& t)
        : cells(t.cells), leadLo(t.leadLo), leadSpan(t.leadHi - t.leadLo), trailLo(t.trailLo),
          trailSpan(t.trailHi - t.trailLo), width(t.trailHi - t.trailLo + 1u) {}

    // The character of the two-byte code, 0 for none; no branch on the byte ranges.
    uint32_t At(unsigned lead, unsigned trail) const {
        unsigned l = lead - leadLo, t = trail - trailLo;
        // All ones inside the grid; outside, cell 0 is read and masked away. Masks rather than
        // conditions, which the compiler turns into branches that mispredict on mixed text.
        uint32_t in = 0u - ((l <= leadSpan) & (t <= trailSpan));
        return cells[(l * width + t) & in] & in;
    }
};

// Faster loops over the common case of a table-driven double-byte encoding: one- and two-byte codes
// the table holds are converted in place, with no per-character call and no branch on the code
// length (text mixes the two at random). Anything else (malformed or unmapped input, surrogate
// pairs, GB18030 four-byte codes) goes through the codec one character at a time exactly as
// Converter<Codec> does, so failure positions and recovery are the same.
//   Codec::Quick(const Grid&, const uint16_t* single, const unsigned char* p, unsigned& n): the
//       character of a one- or two-byte code at p (two bytes readable), n its length, 0 for "ask the
//       codec".
//   Codec::QuickCode(reverse, u): the code of the unit (0 for U+0000 and for "ask the codec").
template <class Codec> struct QuickConverter {
    using Slow = Converter<Codec>;

    static bool From(const unsigned char* bytes, size_t length, ZrUniString& out, ZrCodesetInfo* info,
                     unsigned options) {
        typename Codec::State state{};
        if (!UnitSink::Fits(out.Length(), length)) {
            NoteFailure(info, 0);
            return false;
        }
        const Grid grid(Codec::kTable);
        const uint16_t* single = Codec::kTable.single;
        UnitSink sink(out, length);
        const bool recover = options & kZrEncOptionRecoverable;
        size_t i = 0;
        while (i < length) {
            ZrUniChar* o = sink.Cursor();
            while (i + 2 <= length) {
                unsigned n;
                uint32_t cp = Codec::Quick(grid, single, bytes + i, n);
                if (cp == 0)
                    break;
                *o++ = static_cast<ZrUniChar>(cp);
                i += n;
            }
            sink.Cursor() = o;
            if (i >= length)
                break;
            if (!DecodeStep<Codec>(state, bytes, length, i, sink, info, recover))
                return false;
        }
        return true;
    }

    // Writes straight into the buffer; a character the table does not give in one or two bytes goes
    // through the codec, and one it cannot encode gets the recovery escape of the general loop. The
    // codecs here have no state, marks or closing bytes.
    static bool To(const ZrUniChar* units, size_t count, ZrByteBuffer& out, ZrCodesetInfo* info,
                   unsigned options) {
        typename Codec::State state{};
        const ReverseMap<uint16_t> reverse = Codec::kTable.reverse;
        DirectBytes direct(out, count, 2);
        size_t i = 0;
        while (true) {
            unsigned char* p = direct.Data();
            size_t w = direct.Written();
            for (; i < count; ++i) {
                uint32_t u = units[i];
                uint32_t code = Codec::QuickCode(reverse, u);
                if ((code == 0 && u != 0) | (u - 0xD800u < 0x800u))
                    break;
                bool two = code > 0xFF;
                p[w] = static_cast<unsigned char>(two ? code >> 8 : code);
                p[w + 1] = static_cast<unsigned char>(code);
                w += 1 + two;
            }
            direct.Written() = w;
            if (i >= count)
                return true;
            size_t used;
            uint32_t cp = ReadScalar(units, count, i, used);
            unsigned char bytes[16];
            size_t n = cp == kNoChar ? 0 : Codec::Encode(state, cp, bytes);
            if (n != 0) {
                direct.Put(bytes, n, count - i - used);
            } else {
                NoteFailure(info, i);
                if (!(options & kZrEncOptionRecoverable))
                    return false;
                ZrByteBuffer escape;
                Slow::To(units + i, used, escape, nullptr, kZrEncOptionRecoverable);
                direct.Put(escape.Data(), escape.Length(), count - i - used);
            }
            i += used;
        }
    }

    static constexpr ZrConverter Make(const char* name) {
        return {To, From, Slow::ValidateTo, Slow::ValidateFrom, name};
    }
};

// Defaults for codecs without state, marks or closing bytes.
struct StatelessCodec {
    struct State {};
    static size_t Finish(State&, unsigned char*) { return 0; }
    static size_t Bom(unsigned char*) { return 0; }
    static size_t SkipBom(State&, const unsigned char*, size_t) { return 0; }
    static constexpr size_t kExpectedBytesPerUnit = 2;
};

} // namespace zr_codeset
