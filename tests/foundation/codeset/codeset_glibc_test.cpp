// Every encoding's whole mapping: each code the encoding can hold is decoded, and every BMP character
// (plus samples beyond it) is encoded. Our results must hash to the digest recorded for the encoding
// in mappings.txt, so that no table entry changes unnoticed on any machine. glibc iconv is the
// independent cross-check: where we differ from it on purpose, the difference is listed below with
// its reason; where glibc's own editions of a mapping differ, mappings.txt says which edition gives
// what; anything else fails. Every character an encoding writes must also read back as itself.
#include <gnu/libc-version.h>
#include <gtest/gtest.h>
#include <iconv.h>

#include <algorithm>
#include <bit>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "outcome.h"

namespace {

using namespace codeset_test;
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

// Names a case by its encoding in the test output.
void PrintTo(const Reference& ref, std::ostream* os) {
    *os << ref.glibcName << " (id " << ref.id << ")";
}

// A conversion's output as bytes (decoded text in machine-order UTF-16), or nothing when it failed.
using Result = std::optional<Bytes>;

Bytes AsBytes(std::u16string_view units) {
    return Bytes(reinterpret_cast<const char*>(units.data()), units.size() * 2);
}

Result Ours(const Outcome& o) {
    return o.ok ? Result(o.bytes + AsBytes(o.text)) : std::nullopt;
}

// glibc on the whole input, then the closing shift; any failure or leftover input is a failure.
Result GlibcRun(iconv_t cd, const Bytes& in) {
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    char buf[64];
    char *src = const_cast<char*>(in.data()), *dst = buf;
    size_t srcLeft = in.size(), dstLeft = sizeof buf;
    if (iconv(cd, &src, &srcLeft, &dst, &dstLeft) == static_cast<size_t>(-1) || srcLeft != 0 ||
        iconv(cd, nullptr, nullptr, &dst, &dstLeft) == static_cast<size_t>(-1))
        return std::nullopt;
    return Bytes(buf, dst);
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
    case Family::kUtf8: // every lead with every trail, every three-byte code, a spread of four-byte ones
        for (unsigned b = 0; b < 256; ++b)
            visit(B({b}));
        for (unsigned l = 0xC0; l < 0x100; ++l)
            for (unsigned t = 0x80; t < 0xC0; ++t) {
                visit(B({l, t}));
                for (unsigned u = 0x80; u < 0xC0 && l < 0xF8; ++u)
                    if (l >= 0xE0 && l < 0xF0)
                        visit(B({l, t, u}));
                    else if (l >= 0xF0)
                        for (unsigned v = 0x80; v < 0xC0; v += 9)
                            visit(B({l, t, u, v}));
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

enum class Direction { kDecode, kEncode };

uint32_t CodeNumber(const Bytes& b) {
    uint32_t n = 0;
    for (unsigned char c : b)
        n = (n << 8) | c;
    return n;
}

// --- What mappings.txt records -------------------------------------------------------------------

using Edition = int; // glibc's version, 1000 * major + minor

// A difference from glibc that we intend, over a range of codes or characters.
struct Difference {
    unsigned id;
    Direction direction;
    uint32_t first, last; // decode: the code as a big-endian number; encode: the character
    size_t expected;      // how many codes or characters it must account for, exactly
    std::string reason;
};

struct Recorded {
    std::map<unsigned, std::pair<uint64_t, uint64_t>> digests; // by id: decoding, encoding
    std::vector<Difference> intended;
    // By glibc name, direction and code or character: what each edition gives, where they differ.
    std::map<std::tuple<std::string, Direction, uint32_t>, std::map<Edition, std::string>> editions;
};

Edition EditionOf(const std::string& text) {
    int major = 0, minor = 0;
    std::sscanf(text.c_str(), "%d.%d", &major, &minor);
    return 1000 * major + minor;
}

const Recorded& Mappings() {
    static const Recorded recorded = [] {
        Recorded r;
        std::ifstream in(KP_SOURCE_DIR "/tests/foundation/codeset/mappings.txt");
        EXPECT_TRUE(in) << "mappings.txt is missing";
        auto number = [](std::istream& s) { // hexadecimal, "U+" allowed
            std::string t;
            s >> t;
            return uint32_t(std::stoul(t.substr(t.find('+') + 1), nullptr, 16));
        };
        for (std::string line; std::getline(in, line);) {
            std::istringstream f(line);
            std::string kind, name, word;
            f >> kind;
            if (kind == "digest") {
                unsigned id;
                f >> id;
                f >> std::hex >> r.digests[id].first >> r.digests[id].second;
            } else if (kind == "intended" || kind == "edition") {
                Difference d{};
                if (kind == "edition")
                    f >> name;
                else
                    f >> d.id;
                f >> word;
                d.direction = word == "decode" ? Direction::kDecode : Direction::kEncode;
                d.first = number(f);
                if (kind == "edition") {
                    auto& values = r.editions[{name, d.direction, d.first}];
                    while (f >> word)
                        values[EditionOf(word)] = word.substr(word.find('=') + 1);
                    continue;
                }
                d.last = number(f);
                f >> std::dec >> d.expected >> std::ws;
                std::getline(f, d.reason);
                r.intended.push_back(d);
            }
        }
        return r;
    }();
    return recorded;
}

// What glibc may give at a listed code: the value of the newest listed edition up to the running one,
// and between two listed editions the later one's too (the change came somewhere in between).
std::vector<std::string> Accepted(const std::map<Edition, std::string>& values, Edition running) {
    std::vector<std::string> accepted;
    auto next = values.upper_bound(running);
    if (next != values.begin())
        accepted.push_back(std::prev(next)->second);
    if (next != values.end() && (next == values.begin() || std::prev(next)->first != running))
        accepted.push_back(next->second);
    return accepted;
}

// A result as mappings.txt writes it: UTF-16 units or bytes in hex, "-" for a failure.
std::string Shown(Direction direction, const Result& r) {
    std::string text = r ? "" : "-";
    char digits[5];
    for (size_t i = 0, step = direction == Direction::kDecode ? 2 : 1; r && i < r->size(); i += step) {
        char16_t unit = static_cast<unsigned char>((*r)[i]);
        if (step == 2)
            std::memcpy(&unit, r->data() + i, 2);
        std::snprintf(digits, sizeof digits, step == 2 ? "%04X" : "%02X", unsigned(unit));
        text += digits;
    }
    return text;
}

// Adds a result to a 64-bit FNV-1a hash; units go in low byte first on every machine.
void Hash(uint64_t& h, const Outcome& o) {
    auto byte = [&h](unsigned b) { h = (h ^ (b & 0xFF)) * 0x100000001B3; };
    byte(o.ok);
    byte(o.text.size() + o.bytes.size()); // where one result ends and the next begins
    for (char16_t u : o.text) {
        byte(u);
        byte(u >> 8);
    }
    for (char b : o.bytes)
        byte(static_cast<unsigned char>(b));
}

constexpr size_t kReportLimit = 8;

// glibc's CP1255 and CP1258 decompose precomposed letters that the page lacks into a base letter and
// combining marks (Latin accents, Hebrew points) the page has; we write only what the page maps.
bool IsGlibcDecomposition(unsigned id, const Result& ours, const Result& glibc) {
    if ((id != 12 && id != 15) || ours || !glibc || glibc->size() < 2)
        return false;
    Outcome back = Decode(id, *glibc);
    auto isMark = [](char16_t u) { return (u >= 0x0300 && u <= 0x036F) || (u >= 0x0591 && u <= 0x05C7); };
    return back.ok && back.text.size() >= 2 && !isMark(back.text[0]) &&
           std::all_of(back.text.begin() + 1, back.text.end(), isMark);
}

class EveryEncoding : public ::testing::TestWithParam<Reference> {
protected:
    // Holds glibc to mappings.txt where its editions differ (the digest holds us there), tallies the
    // intended differences and reports the others (a few in full).
    void Check(Direction direction, uint32_t key, const Bytes& input, const Result& ours,
               const Result& glibc) {
        const Reference& ref = GetParam();
        auto edition = Mappings().editions.find({ref.glibcName, direction, key});
        if (edition != Mappings().editions.end()) {
            ++m_editionRows;
            std::vector<std::string> accepted = Accepted(edition->second, m_running);
            EXPECT_NE(std::find(accepted.begin(), accepted.end(), Shown(direction, glibc)), accepted.end())
                << std::hex << key << ": glibc " << gnu_get_libc_version() << " gives "
                << Shown(direction, glibc);
            return;
        }
        if (ours == glibc)
            return;
        for (size_t i = 0; i < Mappings().intended.size(); ++i) {
            const Difference& d = Mappings().intended[i];
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
            ADD_FAILURE() << ref.glibcName << (direction == Direction::kDecode ? " decode " : " encode ")
                          << std::hex << key << ": ours " << (ours ? Hex(*ours) : "fails") << ", glibc "
                          << (glibc ? Hex(*glibc) : "fails") << " (input " << Hex(input) << ")";
        }
    }

    void ExpectListedSeen() {
        for (size_t i = 0; i < Mappings().intended.size(); ++i)
            if (Mappings().intended[i].id == GetParam().id) {
                EXPECT_EQ(m_listed[i], Mappings().intended[i].expected) << Mappings().intended[i].reason;
            }
        size_t rows = 0;
        for (const auto& [key, values] : Mappings().editions)
            rows += std::get<0>(key) == GetParam().glibcName;
        EXPECT_EQ(m_editionRows, rows) << "edition rows never reached";
        EXPECT_EQ(m_unlisted, 0u);
    }

    const Edition m_running = EditionOf(gnu_get_libc_version());
    std::vector<size_t> m_listed = std::vector<size_t>(Mappings().intended.size());
    size_t m_editionRows = 0, m_unlisted = 0, m_decompositions = 0;
};

// Every code decoded, then every character encoded: our results hash to the digests recorded for the
// encoding (after a deliberate change to a table, record the line this prints once glibc agrees),
// and glibc gives the same, but for the differences listed.
TEST_P(EveryEncoding, MapsAsRecordedAndLikeGlibc) {
    const Reference& ref = GetParam();
    iconv_t from = iconv_open(kMachineUtf16, ref.glibcName), to = iconv_open(ref.glibcName, kMachineUtf16);
    ASSERT_NE(from, reinterpret_cast<iconv_t>(-1)) << ref.glibcName;
    ASSERT_NE(to, reinterpret_cast<iconv_t>(-1)) << ref.glibcName;
    uint64_t decoding = 0xCBF29CE484222325, encoding = decoding;
    ForEachCode(ref.family, [&](const Bytes& code) {
        Outcome ours = Decode(ref.id, code);
        Hash(decoding, ours);
        Check(Direction::kDecode, CodeNumber(code), code, Ours(ours), GlibcRun(from, code));
    });
    ForEachCharacter(ref.family, [&](uint32_t cp) {
        Bytes units = AsBytes(Utf16Of(cp));
        Outcome ours = Encode(ref.id, Utf16Of(cp));
        Hash(encoding, ours);
        Check(Direction::kEncode, cp, units, Ours(ours), GlibcRun(to, units));
    });
    iconv_close(from);
    iconv_close(to);
    // The machine-order form is recorded in little-endian order.
    if (ref.id != 41 || std::endian::native == std::endian::little) {
        auto recorded = Mappings().digests.find(ref.id);
        EXPECT_TRUE(recorded != Mappings().digests.end() &&
                    recorded->second == std::make_pair(decoding, encoding))
            << "now: digest " << ref.id << std::hex << " " << decoding << " " << encoding;
    }
    // How many precomposed characters glibc decomposes, by page (the same in glibc 2.36 and 2.41).
    EXPECT_EQ(m_decompositions, ref.id == 12 ? 34u : ref.id == 15 ? 181u : 0u);
    ExpectListedSeen();
}

// Every character an encoding can write reads back as itself: the whole
// repertoire as one text after an ASCII letter, so that no leading byte order mark is dropped.
TEST_P(EveryEncoding, EveryEncodableCharacterReadsBack) {
    const Reference& ref = GetParam();
    std::u16string text = u"a";
    ForEachCharacter(ref.family, [&](uint32_t cp) {
        std::u16string units = Utf16Of(cp);
        // ISO-2022-JP writes ESC as itself, but read back it starts a shift sequence.
        if ((ref.id != 36 || cp != 0x1B) &&
            ZrCodesetConverter::GetConverter(ref.id).validateTo(units.data(), units.size(), nullptr, 0))
            text += units;
    });
    EXPECT_GT(text.size(), 127u);
    Outcome bytes = Encode(ref.id, text);
    ASSERT_TRUE(bytes.ok);
    Outcome back = Decode(ref.id, bytes.bytes);
    EXPECT_TRUE(back.ok) << "fails at byte " << back.errorPosition;
    auto diff = std::mismatch(text.begin(), text.end(), back.text.begin(), back.text.end());
    EXPECT_TRUE(diff.first == text.end() && diff.second == back.text.end())
        << "first difference at U+" << std::hex << (diff.first == text.end() ? 0u : unsigned(*diff.first));
}

// Cases are named by identifier and glibc name, e.g. "Id31_GB18030".
INSTANTIATE_TEST_SUITE_P(AllEncodings, EveryEncoding, ::testing::ValuesIn(References()),
                         [](const auto& info) {
                             std::string name =
                                 "Id" + std::to_string(info.param.id) + "_" + info.param.glibcName;
                             std::replace_if(
                                 name.begin(), name.end(),
                                 [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
                             return info.param.id == 41 ? name + "_MachineOrder" : name;
                         });

} // namespace
