// Every encoding against glibc iconv as an independent reference: each code the encoding can hold is
// decoded by both, and every BMP character (plus samples beyond it) is encoded by both. Where the two
// disagree on purpose, the difference is listed below with its reason; anything else fails.
#include <gtest/gtest.h>
#include <iconv.h>

#include <bit>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "foundation/codeset/zrcodesetconverter.h"

namespace {

using Bytes = std::string;

enum class Family { kSingleByte, kDoubleByte, kGb18030, kEucJp, kIso2022Jp, kUtf16, kUtf8 };

struct Reference {
    unsigned id;
    const char* glibcName;
    Family family;
};

const char* const kMachineUtf16 = std::endian::native == std::endian::big ? "UTF-16BE" : "UTF-16LE";

// clang-format off
std::vector<Reference> References() {
    // Identifiers 1 to 30 are single-byte pages, in this order.
    const char* const pages[] = {
        "ANSI_X3.4-1968", "IBM869", "IBM874", "IBM875", "IBM037", "IBM1026", "CP1250", "CP1251", "CP1252",
        "CP1253", "CP1254", "CP1255", "CP1256", "CP1257", "CP1258", "IBM437", "IBM500", "CP737", "CP775",
        "IBM850", "IBM852", "IBM855", "IBM857", "IBM860", "IBM861", "IBM862", "IBM863", "IBM864", "IBM865",
        "IBM866"};
    using enum Family;
    std::vector<Reference> refs = {
        {0, "BIG5", kDoubleByte},     {31, "GB18030", kGb18030},   {32, "EUC-CN", kDoubleByte},
        {33, "ISO-8859-1", kSingleByte}, {34, "SHIFT_JIS", kDoubleByte}, {35, "EUC-JP", kEucJp},
        {36, "ISO-2022-JP", kIso2022Jp}, {37, "KOI8-R", kSingleByte}, {38, "TIS-620", kSingleByte},
        {39, "UTF-16BE", kUtf16},     {40, "UTF-16LE", kUtf16},    {41, kMachineUtf16, kUtf16},
        {42, "UTF-8", kUtf8}};
    for (unsigned i = 0; i < std::size(pages); ++i)
        refs.push_back({i + 1, pages[i], Family::kSingleByte});
    return refs;
}
// clang-format on

// One conversion's outcome: whether it succeeded and what it produced.
struct Outcome {
    bool ok = false;
    Bytes out;
    bool operator==(const Outcome& o) const { return ok == o.ok && (!ok || out == o.out); }
};

// glibc on the whole input, then the closing shift; any failure or leftover input is a failure.
Outcome GlibcRun(iconv_t cd, const Bytes& in) {
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    char buf[64];
    char *src = const_cast<char*>(in.data()), *dst = buf;
    size_t srcLeft = in.size(), dstLeft = sizeof buf;
    if (iconv(cd, &src, &srcLeft, &dst, &dstLeft) == static_cast<size_t>(-1) || srcLeft != 0 ||
        iconv(cd, nullptr, nullptr, &dst, &dstLeft) == static_cast<size_t>(-1))
        return {};
    return {true, Bytes(buf, dst)};
}

Outcome OurDecode(unsigned id, const Bytes& in) {
    ZrUniString s;
    bool ok = ZrCodesetConverter::GetConverter(id).from(reinterpret_cast<const unsigned char*>(in.data()),
                                                        in.size(), s, nullptr, 0);
    return {ok, Bytes(reinterpret_cast<const char*>(s.Data()), s.Length() * 2)};
}

Outcome OurEncode(unsigned id, const Bytes& units) {
    ZrByteBuffer b;
    bool ok = ZrCodesetConverter::GetConverter(id).to(reinterpret_cast<const ZrUniChar*>(units.data()),
                                                      units.size() / 2, b, nullptr, 0);
    return {ok, Bytes(reinterpret_cast<const char*>(b.Data()), b.Length())};
}

Bytes Utf16Of(uint32_t cp) {
    std::u16string u;
    if (cp >= 0x10000) {
        u += static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10));
        u += static_cast<char16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF));
    } else {
        u += static_cast<char16_t>(cp);
    }
    return Bytes(reinterpret_cast<const char*>(u.data()), u.size() * 2);
}

Bytes B(std::initializer_list<unsigned> bytes) {
    Bytes b;
    for (unsigned x : bytes)
        b += static_cast<char>(x);
    return b;
}

// The byte sequences worth decoding for each family: every code the family's structure allows.
void ForEachCode(Family family, const std::function<void(const Bytes&)>& visit) {
    switch (family) {
    case Family::kSingleByte:
        for (unsigned b = 0; b < 256; ++b)
            visit(B({b}));
        return;
    case Family::kDoubleByte:
    case Family::kGb18030:
    case Family::kEucJp:
        for (unsigned b = 0; b < 256; ++b)
            visit(B({b}));
        for (unsigned l = 0x81; l <= 0xFE; ++l)
            for (unsigned t = 0x40; t <= 0xFE; ++t)
                visit(B({l, t}));
        if (family == Family::kEucJp) {
            for (unsigned l = 0xA1; l <= 0xFE; ++l)
                for (unsigned t = 0xA1; t <= 0xFE; ++t)
                    visit(B({0x8F, l, t}));
        }
        if (family == Family::kGb18030) {
            for (unsigned a = 0x81; a <= 0x84; ++a) // the BMP part, all of it
                for (unsigned b = 0x30; b <= 0x39; ++b)
                    for (unsigned c = 0x81; c <= 0xFE; ++c)
                        for (unsigned d = 0x30; d <= 0x39; ++d)
                            visit(B({a, b, c, d}));
            for (unsigned a = 0x85; a <= 0xFE; ++a) // beyond it: every lead, a spread of the rest
                for (unsigned b = 0x30; b <= 0x39; b += 3)
                    for (unsigned c = 0x81; c <= 0xFE; c += 5)
                        for (unsigned d = 0x30; d <= 0x39; d += 4)
                            visit(B({a, b, c, d}));
        }
        return;
    case Family::kIso2022Jp:
        for (unsigned b = 0; b < 256; ++b)
            if (b != 0x1B)
                visit(B({b}));
        for (unsigned b = 0x21; b < 0x7F; ++b)
            visit(B({0x1B, '(', 'J', b, 0x1B, '(', 'B'}));
        for (unsigned final : {'B', '@'})
            for (unsigned l = 0x21; l < 0x7F; ++l)
                for (unsigned t = 0x21; t < 0x7F; ++t)
                    visit(B({0x1B, '$', final, l, t, 0x1B, '(', 'B'}));
        return;
    case Family::kUtf16:
        for (unsigned u = 0; u < 0x10000; ++u) {
            visit(B({u >> 8, u & 0xFF}));
            visit(B({u & 0xFF, u >> 8}));
        }
        return;
    case Family::kUtf8:
        for (unsigned b = 0; b < 256; ++b)
            visit(B({b}));
        for (unsigned l = 0xC0; l < 0x100; ++l)
            for (unsigned t = 0x80; t < 0xC0; ++t)
                visit(B({l, t}));
        for (uint32_t cp = 0x80; cp <= 0x10FFFF; cp += (cp < 0x10000 ? 1 : 61)) {
            ZrUniString s(reinterpret_cast<const ZrUniChar*>(Utf16Of(cp).data()), cp < 0x10000 ? 1 : 2);
            visit(s.AsUtf8());
        }
        return;
    }
}

// Characters to encode: the whole BMP (surrogates alone are no characters) and, for the encodings
// that can hold them, a spread of the planes beyond.
void ForEachCharacter(Family family, const std::function<void(uint32_t)>& visit) {
    for (uint32_t cp = 0; cp < 0x10000; ++cp)
        if (cp < 0xD800 || cp > 0xDFFF)
            visit(cp);
    if (family == Family::kGb18030 || family == Family::kUtf16 || family == Family::kUtf8)
        for (uint32_t cp = 0x10000; cp <= 0x10FFFF; cp += 97)
            visit(cp);
    if (family == Family::kGb18030)
        for (uint32_t cp : {0x20087u, 0x20089u, 0x200CCu, 0x215D7u, 0x2298Fu, 0x241FEu, 0x10FFFFu})
            visit(cp);
}

// --- The differences from glibc that are intended -------------------------------------------------

enum class Direction { kDecode, kEncode };

constexpr size_t kReportLimit = 8;

struct Difference {
    unsigned id;
    Direction direction;
    uint32_t first, last; // Decode: the code as a big-endian number; encode: the character
    const char* reason;
    size_t expected; // how many codes or characters the entry must account for, exactly
};

uint32_t CodeNumber(const Bytes& b) {
    uint32_t n = 0;
    for (unsigned char c : b)
        n = (n << 8) | c;
    return n;
}

// clang-format off
const Difference kDifferences[] = {
    {34, Direction::kEncode, 0x5C, 0x5C, "glibc: U+005C as 5C, read back as U+00A5", 1},
    {34, Direction::kEncode, 0x7E, 0x7E, "glibc: U+007E as 7E, read back as U+203E", 1},
    {34, Direction::kEncode, 0xFFE0, 0xFFE2, "glibc: U+FFE0-2 as U+00A2, U+00A3, U+00AC", 3},
    {35, Direction::kEncode, 0xA5, 0xA5, "glibc: U+00A5 as 5C, read back as U+005C", 1},
    {35, Direction::kEncode, 0x203E, 0x203E, "glibc: U+203E as 7E, read back as U+007E", 1},
    {15, Direction::kEncode, 0x340, 0x341, "glibc: U+0340, U+0341 as U+0300, U+0301", 2},
    // Every unit is tried in both byte orders, so each mark turns up twice.
    {39, Direction::kDecode, 0xFEFF, 0xFEFF, "a leading byte order mark is dropped", 2},
    {40, Direction::kDecode, 0xFFFE, 0xFFFE, "a leading byte order mark is dropped", 2},
    {41, Direction::kDecode, 0xFEFF, 0xFFFE, "the machine-order form drops either mark", 4},
    {42, Direction::kDecode, 0xEFBBBF, 0xEFBBBF, "a leading byte order mark is dropped", 1},
};
// clang-format on

// glibc's CP1255 and CP1258 decompose precomposed letters that the page lacks into a base letter and
// combining marks (Latin accents, Hebrew points) the page has; we write only what the page maps.
bool IsGlibcDecomposition(unsigned id, const Outcome& ours, const Outcome& glibc) {
    if ((id != 12 && id != 15) || ours.ok || !glibc.ok || glibc.out.size() < 2)
        return false;
    Outcome back = OurDecode(id, glibc.out);
    if (!back.ok || back.out.size() < 4)
        return false;
    const auto* units = reinterpret_cast<const char16_t*>(back.out.data());
    auto isMark = [](char16_t u) { return (u >= 0x0300 && u <= 0x036F) || (u >= 0x0591 && u <= 0x05C7); };
    for (size_t i = 1; i < back.out.size() / 2; ++i)
        if (!isMark(units[i]))
            return false;
    return !isMark(units[0]);
}

// How many precomposed characters glibc decomposes, by page (counted on glibc 2.36).
size_t ExpectedDecompositions(unsigned id) {
    return id == 12 ? 34 : id == 15 ? 181 : 0;
}

class GlibcAgreement : public ::testing::TestWithParam<Reference> {
protected:
    // Tallies the listed differences and reports the unlisted ones (a few in full).
    void Check(Direction direction, uint32_t key, const Bytes& input, const Outcome& ours,
               const Outcome& glibc) {
        if (ours == glibc)
            return;
        const Reference& ref = GetParam();
        for (size_t i = 0; i < std::size(kDifferences); ++i) {
            const Difference& d = kDifferences[i];
            if (d.id == ref.id && d.direction == direction && key >= d.first && key <= d.last) {
                ++m_listed[i];
                return;
            }
        }
        if (direction == Direction::kEncode && IsGlibcDecomposition(ref.id, ours, glibc)) {
            ++m_decompositions;
            return;
        }
        if (++m_unlisted <= kReportLimit) {
            ADD_FAILURE() << GetParam().glibcName
                          << (direction == Direction::kDecode ? " decode " : " encode ") << std::hex << key
                          << ": ours " << (ours.ok ? Hex(ours.out) : "fails") << ", glibc "
                          << (glibc.ok ? Hex(glibc.out) : "fails") << " (input " << Hex(input) << ")";
        }
    }

    void ExpectListedSeen() {
        for (size_t i = 0; i < std::size(kDifferences); ++i)
            if (kDifferences[i].id == GetParam().id) {
                EXPECT_EQ(m_listed[i], kDifferences[i].expected) << kDifferences[i].reason;
            }
        EXPECT_EQ(m_unlisted, 0u);
    }

    static std::string Hex(const Bytes& b) {
        std::string s = b.empty() ? "(empty)" : "";
        for (unsigned char c : b)
            s += {"0123456789ABCDEF"[c >> 4], "0123456789ABCDEF"[c & 15]};
        return s;
    }

    size_t m_listed[std::size(kDifferences)] = {};
    size_t m_unlisted = 0;
    size_t m_decompositions = 0;
};

// Every code decoded, then every character encoded, by both.
TEST_P(GlibcAgreement, ConvertsLikeGlibc) {
    const Reference& ref = GetParam();
    iconv_t from = iconv_open(kMachineUtf16, ref.glibcName), to = iconv_open(ref.glibcName, kMachineUtf16);
    ASSERT_NE(from, reinterpret_cast<iconv_t>(-1)) << ref.glibcName;
    ASSERT_NE(to, reinterpret_cast<iconv_t>(-1)) << ref.glibcName;
    size_t decoded = 0, encoded = 0;
    ForEachCode(ref.family, [&](const Bytes& code) {
        Outcome ours = OurDecode(ref.id, code);
        decoded += ours.ok;
        Check(Direction::kDecode, CodeNumber(code), code, ours, GlibcRun(from, code));
    });
    ForEachCharacter(ref.family, [&](uint32_t cp) {
        Bytes units = Utf16Of(cp);
        Outcome ours = OurEncode(ref.id, units);
        encoded += ours.ok;
        Check(Direction::kEncode, cp, units, ours, GlibcRun(to, units));
    });
    iconv_close(from);
    iconv_close(to);
    EXPECT_GT(decoded, 100u);
    EXPECT_GT(encoded, 100u);
    EXPECT_EQ(m_decompositions, ExpectedDecompositions(ref.id));
    ExpectListedSeen();
}

INSTANTIATE_TEST_SUITE_P(AllEncodings, GlibcAgreement, ::testing::ValuesIn(References()),
                         [](const auto& info) { return "Id" + std::to_string(info.param.id); });

} // namespace
