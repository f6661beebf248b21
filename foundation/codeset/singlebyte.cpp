// US-ASCII, ISO-8859-1 and the table-driven single-byte code pages (IBM and Windows pages, KOI8-R,
// TIS-620). Every byte is one character; a byte the page leaves undefined does not decode.
#include "foundation/codeset/codec.h"
#include "foundation/codeset/generated/codesettables.h"
#include "foundation/codeset/simd/tables.h"

namespace zr_codeset {
namespace {

// Seven bits; the top half of the byte range is undefined.
struct AsciiCodec : StatelessCodec {
    static constexpr size_t kExpectedBytesPerUnit = 1;
    static bool AsciiSame() { return true; }
    static int Decode(State&, const unsigned char* p, size_t, uint32_t& cp) {
        cp = p[0];
        return p[0] < 0x80 ? 1 : -1;
    }
    static size_t Encode(State&, uint32_t cp, unsigned char* out) {
        if (cp >= 0x80)
            return 0;
        out[0] = static_cast<unsigned char>(cp);
        return 1;
    }
};

// Bytes are the first 256 characters.
struct Latin1Codec : StatelessCodec {
    static constexpr size_t kExpectedBytesPerUnit = 1;
    static bool AsciiSame() { return true; }
    static int Decode(State&, const unsigned char* p, size_t, uint32_t& cp) {
        cp = p[0];
        return 1;
    }
    static size_t Encode(State&, uint32_t cp, unsigned char* out) {
        if (cp >= 0x100)
            return 0;
        out[0] = static_cast<unsigned char>(cp);
        return 1;
    }
};

template <const SingleBytePage& Page> struct PageCodec : StatelessCodec {
    static constexpr size_t kExpectedBytesPerUnit = 1;
    static int Decode(State&, const unsigned char* p, size_t, uint32_t& cp) {
        cp = Page.toUnicode[p[0]];
        return cp == 0xFFFF ? -1 : 1;
    }
    static size_t Encode(State&, uint32_t cp, unsigned char* out) {
        unsigned char b = Page.fromUnicode.Find(cp);
        if (b == 0 && cp != 0)
            return 0;
        out[0] = b;
        return 1;
    }
};

// A page converts every byte by one table load, so the loops below do just that and leave the
// codec's loop (failure positions, recovery, pairs, escapes) to the first byte or unit the page
// lacks; from there on they carry on by themselves again.
template <const SingleBytePage& Page> struct PageConverter {
    using Slow = Converter<PageCodec<Page>>;

    static bool From(const unsigned char* bytes, size_t length, ZrUniString& out, ZrCodesetInfo* info,
                     unsigned options) {
        if (!UnitSink::Fits(out.Length(), length)) {
            NoteFailure(info, 0);
            return false;
        }
        const uint16_t* table = Page.toUnicode;
        UnitSink sink(out, length);
        const bool vector = simd::Enabled();
        size_t i = 0;
        while (i < length) {
            ZrUniChar* o = sink.Cursor();
            if (vector)
                i = simd::DecodePage(table, bytes, i, length, o);
            // Four bytes a round with one test for a hole among them; the byte loop finds it.
            for (; i + 4 <= length; i += 4, o += 4) {
                uint16_t u0 = table[bytes[i]], u1 = table[bytes[i + 1]];
                uint16_t u2 = table[bytes[i + 2]], u3 = table[bytes[i + 3]];
                if ((u0 == 0xFFFF) | (u1 == 0xFFFF) | (u2 == 0xFFFF) | (u3 == 0xFFFF))
                    break;
                o[0] = u0, o[1] = u1, o[2] = u2, o[3] = u3;
            }
            for (; i < length; ++i) {
                uint16_t u = table[bytes[i]];
                if (u == 0xFFFF)
                    break;
                *o++ = u;
            }
            sink.Cursor() = o;
            if (i >= length)
                break;
            NoteFailure(info, i);
            if (!(options & kZrEncOptionRecoverable))
                return false;
            sink.Put(kReplacementChar);
            ++i;
        }
        return true;
    }

    static bool To(const ZrUniChar* units, size_t count, ZrByteBuffer& out, ZrCodesetInfo* info,
                   unsigned options) {
        const ReverseMap<uint8_t> reverse = Page.fromUnicode;
        DirectBytes direct(out, count, 1);
        const bool vector = simd::Enabled();
        size_t i = 0;
        while (true) {
            unsigned char* p = direct.Data();
            size_t stop = count;
            if (vector) {
                // The vector loop stops at units above U+00FF as well: the scalar one takes those
                // (and anything the page lacks) for a stretch before the vector loop goes on.
                i = simd::EncodePage(reverse, units, i, count, p, direct.Written());
                stop = count - i > simd::kScalarStretch ? i + simd::kScalarStretch : count;
            }
            size_t w = direct.Written();
            for (; i < stop; ++i, ++w) {
                uint32_t u = units[i];
                unsigned char b = reverse.cells[reverse.blockOf[u >> 8] * 256u + (u & 0xFF)];
                if (b == 0 && u != 0)
                    break;
                p[w] = b;
            }
            direct.Written() = w;
            if (i >= count)
                return true;
            if (i == stop)
                continue;
            // Nothing the page lacks encodes: the general loop writes the escape (a pair is one
            // character).
            size_t used =
                units[i] - 0xD800u < 0x400u && i + 1 < count && units[i + 1] - 0xDC00u < 0x400u ? 2 : 1;
            NoteFailure(info, i);
            if (!(options & kZrEncOptionRecoverable))
                return false;
            ZrByteBuffer escape;
            Slow::To(units + i, used, escape, nullptr, kZrEncOptionRecoverable);
            direct.Put(escape.Data(), escape.Length(), count - i - used);
            i += used;
        }
    }
};

template <const SingleBytePage& Page> constexpr ZrConverter MakePage(const char* name) {
    using Slow = Converter<PageCodec<Page>>;
    return {PageConverter<Page>::To, PageConverter<Page>::From, Slow::ValidateTo, Slow::ValidateFrom, name};
}

} // namespace

namespace converters {

using namespace tables;

const ZrConverter kUsAscii = Converter<AsciiCodec>::Make("US-ASCII");
const ZrConverter kIso88591 = Converter<Latin1Codec>::Make("ISO-8859-1");

const ZrConverter kCodePages[31] = {
    MakePage<kPageIbm869>("IBM869"),       MakePage<kPageIbm874>("IBM874"),
    MakePage<kPageIbm875>("IBM875"),       MakePage<kPageIbm037>("IBM037"),
    MakePage<kPageIbm1026>("IBM1026"),     MakePage<kPageCp1250>("WINDOWS-1250"),
    MakePage<kPageCp1251>("WINDOWS-1251"), MakePage<kPageCp1252>("WINDOWS-1252"),
    MakePage<kPageCp1253>("WINDOWS-1253"), MakePage<kPageCp1254>("WINDOWS-1254"),
    MakePage<kPageCp1255>("WINDOWS-1255"), MakePage<kPageCp1256>("WINDOWS-1256"),
    MakePage<kPageCp1257>("WINDOWS-1257"), MakePage<kPageCp1258>("WINDOWS-1258"),
    MakePage<kPageIbm437>("IBM437"),       MakePage<kPageIbm500>("IBM500"),
    MakePage<kPageCp737>("IBM737"),        MakePage<kPageCp775>("IBM775"),
    MakePage<kPageIbm850>("IBM850"),       MakePage<kPageIbm852>("IBM852"),
    MakePage<kPageIbm855>("IBM855"),       MakePage<kPageIbm857>("IBM857"),
    MakePage<kPageIbm860>("IBM860"),       MakePage<kPageIbm861>("IBM861"),
    MakePage<kPageIbm862>("IBM862"),       MakePage<kPageIbm863>("IBM863"),
    MakePage<kPageIbm864>("IBM864"),       MakePage<kPageIbm865>("IBM865"),
    MakePage<kPageIbm866>("IBM866"),       MakePage<kPageKoi8R>("KOI8-R"),
    MakePage<kPageTis620>("TIS-620"),
};

} // namespace converters
} // namespace zr_codeset
