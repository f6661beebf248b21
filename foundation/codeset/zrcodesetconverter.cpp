#include "foundation/codeset/zrcodesetconverter.h"

#include <cstring>

#include "foundation/codeset/codec.h"
#include "foundation/codeset/zrcstringregistry.h"

namespace {

using namespace zr_codeset;

struct EncodingRow {
    unsigned id;
    const char* name;
};

// Every name by identifier, canonical name first. The order decides locale matching (first prefix
// wins), which is why "ZH_CN.GB18030" must stay ahead of the "ZH_CN" of GB2312.
constexpr EncodingRow kRows[] = {
    {0, "BIG5"},
    {0, "CSBIG5"},
    {0, "CN-BIG5"},
    {1, "US-ASCII"},
    {1, "ANSI_X3.4-1968"},
    {1, "ISO-IR-6"},
    {1, "ANSI_X3.4-1986"},
    {1, "ISO_646.IRV:1991"},
    {1, "ASCII"},
    {1, "ISO646-US"},
    {1, "US"},
    {1, "IBM367"},
    {1, "CP367"},
    {2, "IBM869"},
    {2, "CP869"},
    {2, "CODEPAGE869"},
    {2, "869"},
    {3, "IBM874"},
    {3, "CP874"},
    {3, "CODEPAGE874"},
    {3, "874"},
    {4, "IBM875"},
    {4, "CP875"},
    {4, "CODEPAGE875"},
    {4, "875"},
    {5, "IBM037"},
    {5, "CP037"},
    {5, "CODEPAGE037"},
    {5, "037"},
    {6, "IBM1026"},
    {6, "CP1026"},
    {6, "CODEPAGE1026"},
    {6, "1026"},
    {7, "WINDOWS-1250"},
    {7, "CP1250"},
    {7, "CODEPAGE1250"},
    {7, "1250"},
    {8, "WINDOWS-1251"},
    {8, "CP1251"},
    {8, "CODEPAGE1251"},
    {8, "1251"},
    {9, "WINDOWS-1252"},
    {9, "CP1252"},
    {9, "CODEPAGE1252"},
    {9, "1252"},
    {10, "WINDOWS-1253"},
    {10, "CP1253"},
    {10, "CODEPAGE1253"},
    {10, "1253"},
    {11, "WINDOWS-1254"},
    {11, "CP1254"},
    {11, "CODEPAGE1254"},
    {11, "1254"},
    {12, "WINDOWS-1255"},
    {12, "CP1255"},
    {12, "CODEPAGE1255"},
    {12, "1255"},
    {13, "WINDOWS-1256"},
    {13, "CP1256"},
    {13, "CODEPAGE1256"},
    {13, "1256"},
    {14, "WINDOWS-1257"},
    {14, "CP1257"},
    {14, "CODEPAGE1257"},
    {14, "1257"},
    {15, "WINDOWS-1258"},
    {15, "CP1258"},
    {15, "CODEPAGE1258"},
    {15, "1258"},
    {16, "IBM437"},
    {16, "CP437"},
    {16, "CODEPAGE437"},
    {16, "437"},
    {17, "IBM500"},
    {17, "CP500"},
    {17, "CODEPAGE500"},
    {17, "500"},
    {18, "IBM737"},
    {18, "CP737"},
    {18, "CODEPAGE737"},
    {18, "737"},
    {19, "IBM775"},
    {19, "CP775"},
    {19, "CODEPAGE775"},
    {19, "775"},
    {20, "IBM850"},
    {20, "CP850"},
    {20, "CODEPAGE850"},
    {20, "850"},
    {21, "IBM852"},
    {21, "CP852"},
    {21, "CODEPAGE852"},
    {21, "852"},
    {22, "IBM855"},
    {22, "CP855"},
    {22, "CODEPAGE855"},
    {22, "855"},
    {23, "IBM857"},
    {23, "CP857"},
    {23, "CODEPAGE857"},
    {23, "857"},
    {24, "IBM860"},
    {24, "CP860"},
    {24, "CODEPAGE860"},
    {24, "860"},
    {25, "IBM861"},
    {25, "CP861"},
    {25, "CODEPAGE861"},
    {25, "861"},
    {26, "IBM862"},
    {26, "CP862"},
    {26, "CODEPAGE862"},
    {26, "862"},
    {27, "IBM863"},
    {27, "CP863"},
    {27, "CODEPAGE863"},
    {27, "863"},
    {28, "IBM864"},
    {28, "CP864"},
    {28, "CODEPAGE864"},
    {28, "864"},
    {29, "IBM865"},
    {29, "CP865"},
    {29, "CODEPAGE865"},
    {29, "865"},
    {30, "IBM866"},
    {30, "CP866"},
    {30, "CODEPAGE866"},
    {30, "866"},
    {31, "GB18030"},
    {31, "ZH_CN.GB18030"},
    {32, "GB2312"},
    {32, "ISO-IR-58"},
    {32, "CHINESE"},
    {32, "CSISO58GB231280"},
    {32, "ZH_CN"},
    {32, "ZH"},
    {33, "ISO-8859-1"},
    {33, "ISO88591"},
    {33, "ISO8859-1"},
    {33, "ISO_8859-1:1987"},
    {33, "ISO-IR-100"},
    {33, "ISO_8859-1"},
    {33, "ISO 8859-1"},
    {33, "LATIN1"},
    {33, "L1"},
    {33, "IBM819"},
    {33, "CP819"},
    {33, "CSISOLATIN1"},
    {33, "EN_US"},
    {33, "EN-US"},
    {33, "EN"},
    {34, "SHIFT_JIS"},
    {34, "SJIS"},
    {34, "MS_KANJI"},
    {34, "CSSHIFTJIS"},
    {34, "JA_JP.SJIS"},
    {34, "X-SJIS"},
    {35, "EUC-JP"},
    {35, "CSEUCPKDFMTJAPANESE"},
    {35, "EUC"},
    {35, "JA_JP.EUC"},
    {35, "JA_JP"},
    {35, "JA-JP"},
    {35, "JA"},
    {35, "JP"},
    {36, "ISO-2022-JP"},
    {37, "KOI8-R"},
    {37, "KOI8"},
    {37, "KOI8_R"},
    {37, "CSKOI8R"},
    {38, "TIS-620"},
    {38, "TIS620.2533"},
    {38, "TIS620"},
    {39, "UNICODE MSB"},
    {39, "UNICODEMSB"},
    {39, "UNICODE-MSB"},
    {40, "UNICODE LSB"},
    {40, "UNICODELSB"},
    {40, "UNICODE-LSB"},
    {41, "UNICODE LOCAL"},
    {41, "UNICODELOCAL"},
    {41, "UNICODE-LOCAL"},
    {42, "UTF-8"},
    {42, "UNICODE-1-1-UTF-8"},
    {42, "UTF8"},
    {kZrEncodingNone, nullptr},
};

constexpr ZrConverter kInvalid = {invalid::invalidto, invalid::invalidfrom, invalid::novalidateto,
                                  invalid::novalidatefrom, nullptr};

// Slots 0-42 by identifier, slot 43 for "no encoding". Pointers, so the table is fixed at load time.
const ZrConverter* const kConverters[44] = {
    &converters::kBig5,          &converters::kUsAscii,
    &converters::kCodePages[0],  &converters::kCodePages[1],
    &converters::kCodePages[2],  &converters::kCodePages[3],
    &converters::kCodePages[4],  &converters::kCodePages[5],
    &converters::kCodePages[6],  &converters::kCodePages[7],
    &converters::kCodePages[8],  &converters::kCodePages[9],
    &converters::kCodePages[10], &converters::kCodePages[11],
    &converters::kCodePages[12], &converters::kCodePages[13],
    &converters::kCodePages[14], &converters::kCodePages[15],
    &converters::kCodePages[16], &converters::kCodePages[17],
    &converters::kCodePages[18], &converters::kCodePages[19],
    &converters::kCodePages[20], &converters::kCodePages[21],
    &converters::kCodePages[22], &converters::kCodePages[23],
    &converters::kCodePages[24], &converters::kCodePages[25],
    &converters::kCodePages[26], &converters::kCodePages[27],
    &converters::kCodePages[28], &converters::kGb18030,
    &converters::kGb2312,        &converters::kIso88591,
    &converters::kShiftJis,      &converters::kEucJp,
    &converters::kIso2022Jp,     &converters::kCodePages[29],
    &converters::kCodePages[30], &converters::kUnicodeMsb,
    &converters::kUnicodeLsb,    &converters::kUnicodeLocal,
    &converters::kUtf8,          &kInvalid,
};

const char* const kOptionNames[] = {"ADDBYTEORDERMARKER", "RECOVERABLE"};
constexpr unsigned kOptionValues[] = {kZrEncOptionAddByteOrderMarker, kZrEncOptionRecoverable};

} // namespace

const ZrCStringRegistry& ZrCodesetConverter::NameRegistry() {
    static const ZrCStringRegistry* const registry = [] {
        auto* r = new ZrCStringRegistry(kNameBuckets);
        for (const EncodingRow& row : kRows)
            if (row.name)
                (void)r->Register(row.name, row.id); // a repeated name keeps its first identifier
        return r;
    }();
    return *registry;
}

const ZrCStringRegistry& ZrCodesetConverter::OptionRegistry() {
    static const ZrCStringRegistry* const registry = [] {
        auto* r = new ZrCStringRegistry(kOptionBuckets);
        for (size_t i = 0; i < sizeof kOptionNames / sizeof kOptionNames[0]; ++i)
            (void)r->Register(kOptionNames[i], kOptionValues[i]); // the option names are distinct
        return r;
    }();
    return *registry;
}

namespace {

unsigned LookUp(const ZrCStringRegistry& registry, const char* name, unsigned missing) {
    if (!name)
        return missing;
    ZrCString key(name);
    key.ToUpper();
    unsigned value;
    return registry.Find(key, value) ? value : missing;
}

char AsciiUpper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

} // namespace

unsigned ZrSysEncoding::filesystem = kZrEncodingUtf8;
unsigned ZrSysEncoding::filesystemOptions = 0;

// Not called by the agent; this and the four lookups after it find codesets by name, locale, option.
unsigned ZrCodesetConverter::GetEncoding(const char* name) {
    return LookUp(NameRegistry(), name, kZrEncodingNone);
}

const char* ZrCodesetConverter::GetEncodingName(unsigned id) {
    return GetConverter(id).name;
}

unsigned ZrCodesetConverter::GetEncodingFromLocale(const char* locale) {
    if (!locale)
        return kZrEncodingIso88591;
    for (const EncodingRow& row : kRows) {
        if (!row.name)
            break;
        size_t i = 0;
        while (row.name[i] && AsciiUpper(locale[i]) == row.name[i])
            ++i;
        if (!row.name[i])
            return row.id;
    }
    return kZrEncodingIso88591;
}

const char* ZrCodesetConverter::GetEncodingLocale(unsigned id) {
    for (const EncodingRow& row : kRows)
        if (row.id == id && row.name && std::strlen(row.name) == 5 && row.name[2] == '_')
            return row.name;
    return nullptr;
}

unsigned ZrCodesetConverter::GetEncOption(const char* name) {
    return LookUp(OptionRegistry(), name, kZrEncOptionUnknown);
}

const ZrConverter& ZrCodesetConverter::GetConverter(unsigned id) {
    return *kConverters[id > kZrEncodingNone ? kZrEncodingNone : id];
}

// Not called by the agent; this and ValidateTo check a conversion without keeping its result.
bool ZrCodesetConverter::ValidateFrom(const void* bytes, uint64_t length, ZrCodesetInfo* info, unsigned id,
                                      unsigned options) {
    return GetConverter(id).validateFrom(static_cast<const unsigned char*>(bytes), length, info, options);
}

bool ZrCodesetConverter::ValidateTo(const ZrUniString& text, ZrCodesetInfo* info, unsigned id,
                                    unsigned options) {
    return GetConverter(id).validateTo(text.Units(), text.Length(), info, options);
}

void ZrCodesetConverter::ListSupportedEncodings(std::vector<ZrCString>& list) {
    for (const EncodingRow& row : kRows)
        if (row.name)
            list.emplace_back(row.name);
}

void ZrCodesetConverter::ListSupportedEncOptions(std::vector<ZrCString>& list) {
    for (const char* name : kOptionNames)
        list.emplace_back(name);
}

namespace zr_codeset::invalid {

bool invalidto(const ZrUniChar*, size_t, ZrByteBuffer&, ZrCodesetInfo* info, unsigned) {
    NoteFailure(info, 0);
    return false;
}

bool invalidfrom(const unsigned char*, size_t, ZrUniString&, ZrCodesetInfo* info, unsigned) {
    NoteFailure(info, 0);
    return false;
}

bool novalidateto(const ZrUniChar*, size_t, ZrCodesetInfo* info, unsigned) {
    NoteFailure(info, 0);
    return false;
}

bool novalidatefrom(const unsigned char*, size_t, ZrCodesetInfo* info, unsigned) {
    NoteFailure(info, 0);
    return false;
}

} // namespace zr_codeset::invalid
