// US-ASCII, ISO-8859-1 and the table-driven single-byte code pages (IBM and Windows pages, KOI8-R,
// TIS-620). Every byte is one character; a byte the page leaves undefined does not decode.
#include "foundation/codeset/codec.h"
#include "foundation/codeset/generated/codesettables.h"

namespace zr_codeset {
namespace {

// Seven bits; the top half of the byte range is undefined.
struct AsciiCodec : StatelessCodec {
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

template <const SingleBytePage& Page> constexpr ZrConverter MakePage(const char* name) {
    return Converter<PageCodec<Page>>::Make(name);
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
