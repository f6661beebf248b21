// Encoding names, aliases, locales and options.
#include <gtest/gtest.h>

#include <cctype>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "foundation/codeset/zrcodesetconverter.h"
#include "foundation/codeset/zrcstringregistry.h"

namespace {

// Every name of every encoding, canonical name first, in the order the list gives them.
// clang-format off
const struct {
    unsigned id;
    const char* names; // separated by "|"
} kNames[] = {
    {0, "BIG5|CSBIG5|CN-BIG5"},
    {1, "US-ASCII|ANSI_X3.4-1968|ISO-IR-6|ANSI_X3.4-1986|ISO_646.IRV:1991|ASCII|ISO646-US|US|IBM367|CP367"},
    {2, "IBM869|CP869|CODEPAGE869|869"}, {3, "IBM874|CP874|CODEPAGE874|874"},
    {4, "IBM875|CP875|CODEPAGE875|875"}, {5, "IBM037|CP037|CODEPAGE037|037"},
    {6, "IBM1026|CP1026|CODEPAGE1026|1026"}, {7, "WINDOWS-1250|CP1250|CODEPAGE1250|1250"},
    {8, "WINDOWS-1251|CP1251|CODEPAGE1251|1251"}, {9, "WINDOWS-1252|CP1252|CODEPAGE1252|1252"},
    {10, "WINDOWS-1253|CP1253|CODEPAGE1253|1253"}, {11, "WINDOWS-1254|CP1254|CODEPAGE1254|1254"},
    {12, "WINDOWS-1255|CP1255|CODEPAGE1255|1255"}, {13, "WINDOWS-1256|CP1256|CODEPAGE1256|1256"},
    {14, "WINDOWS-1257|CP1257|CODEPAGE1257|1257"}, {15, "WINDOWS-1258|CP1258|CODEPAGE1258|1258"},
    {16, "IBM437|CP437|CODEPAGE437|437"}, {17, "IBM500|CP500|CODEPAGE500|500"},
    {18, "IBM737|CP737|CODEPAGE737|737"}, {19, "IBM775|CP775|CODEPAGE775|775"},
    {20, "IBM850|CP850|CODEPAGE850|850"}, {21, "IBM852|CP852|CODEPAGE852|852"},
    {22, "IBM855|CP855|CODEPAGE855|855"}, {23, "IBM857|CP857|CODEPAGE857|857"},
    {24, "IBM860|CP860|CODEPAGE860|860"}, {25, "IBM861|CP861|CODEPAGE861|861"},
    {26, "IBM862|CP862|CODEPAGE862|862"}, {27, "IBM863|CP863|CODEPAGE863|863"},
    {28, "IBM864|CP864|CODEPAGE864|864"}, {29, "IBM865|CP865|CODEPAGE865|865"},
    {30, "IBM866|CP866|CODEPAGE866|866"}, {31, "GB18030|ZH_CN.GB18030"},
    {32, "GB2312|ISO-IR-58|CHINESE|CSISO58GB231280|ZH_CN|ZH"},
    {33, "ISO-8859-1|ISO88591|ISO8859-1|ISO_8859-1:1987|ISO-IR-100|ISO_8859-1|"
         "ISO 8859-1|LATIN1|L1|IBM819|CP819|CSISOLATIN1|EN_US|EN-US|EN"},
    {34, "SHIFT_JIS|SJIS|MS_KANJI|CSSHIFTJIS|JA_JP.SJIS|X-SJIS"},
    {35, "EUC-JP|CSEUCPKDFMTJAPANESE|EUC|JA_JP.EUC|JA_JP|JA-JP|JA|JP"}, {36, "ISO-2022-JP"},
    {37, "KOI8-R|KOI8|KOI8_R|CSKOI8R"}, {38, "TIS-620|TIS620.2533|TIS620"},
    {39, "UNICODE MSB|UNICODEMSB|UNICODE-MSB"}, {40, "UNICODE LSB|UNICODELSB|UNICODE-LSB"},
    {41, "UNICODE LOCAL|UNICODELOCAL|UNICODE-LOCAL"}, {42, "UTF-8|UNICODE-1-1-UTF-8|UTF8"},
};
// clang-format on

std::vector<std::string> Split(const char* names) {
    std::vector<std::string> out;
    std::istringstream in(names);
    for (std::string name; std::getline(in, name, '|');)
        out.push_back(name);
    return out;
}

TEST(CodesetNames, EveryNameHasItsIdentifierInAnyCase) {
    std::vector<std::string> all;
    for (const auto& row : kNames) {
        std::vector<std::string> names = Split(row.names);
        EXPECT_STREQ(ZrCodesetConverter::GetEncodingName(row.id), names[0].c_str());
        for (std::string& name : names) {
            EXPECT_EQ(ZrCodesetConverter::GetEncoding(name.c_str()), row.id) << name;
            std::string lower = name;
            for (char& c : lower)
                c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            EXPECT_EQ(ZrCodesetConverter::GetEncoding(lower.c_str()), row.id) << lower;
            all.push_back(std::move(name));
        }
    }
    std::vector<ZrCString> listed;
    ZrCodesetConverter::ListSupportedEncodings(listed);
    std::vector<std::string> listedNames;
    for (const ZrCString& name : listed)
        listedNames.emplace_back(name.c_str());
    EXPECT_EQ(listedNames, all);
    for (const char* unknown : {"", "UTF-8 ", "koi8-u", "utf-16"})
        EXPECT_EQ(ZrCodesetConverter::GetEncoding(unknown), 43u) << unknown;
    EXPECT_EQ(ZrCodesetConverter::GetEncoding(nullptr), 43u);
    EXPECT_EQ(ZrCodesetConverter::GetEncodingName(43), nullptr);
    EXPECT_EQ(ZrCodesetConverter::GetEncodingName(1000), nullptr);
}

TEST(CodesetNames, MatchesLocalesByFirstPrefixInTableOrder) {
    const struct {
        const char* locale;
        unsigned id;
    } rows[] = {
        {"C", 33},         {"POSIX", 33},      {"EN_us", 33},      {"en_US.UTF-8", 33}, {"zh_CN.GB18030", 31},
        {"zh_CN.GBK", 32}, {"zh_TW.Big5", 32}, {"ja_JP.SJIS", 34}, {"ja_JP.UTF-8", 35}, {"ru_RU.KOI8-R", 33},
        {"UTF-8", 42},     {"utf8", 42},       {"", 33},           {"KOI8-R", 37},      {"1252", 9},
        {"8691", 2},       {"usa", 1},         {"big5-hkscs", 0},
    };
    for (const auto& row : rows)
        EXPECT_EQ(ZrCodesetConverter::GetEncodingFromLocale(row.locale), row.id) << row.locale;
    EXPECT_EQ(ZrCodesetConverter::GetEncodingFromLocale(nullptr), 33u);
}

// The locale-shaped names of the encodings that have one, and the two options.
TEST(CodesetNames, LocaleShapedNamesAndTheTwoOptions) {
    const std::pair<unsigned, const char*> locales[] = {{33, "EN_US"}, {32, "ZH_CN"}, {35, "JA_JP"},
                                                        {31, nullptr}, {42, nullptr}, {43, nullptr},
                                                        {99, nullptr}};
    for (const auto& [id, locale] : locales)
        EXPECT_STREQ(ZrCodesetConverter::GetEncodingLocale(id), locale) << id;
    const std::pair<const char*, unsigned> options[] = {
        {"ADDBYTEORDERMARKER", 1}, {"recoverable", 2}, {nullptr, 4}, {"STRICT", 4}};
    for (const auto& [name, option] : options)
        EXPECT_EQ(ZrCodesetConverter::GetEncOption(name), option) << (name ? name : "(null)");
    std::vector<ZrCString> listed;
    ZrCodesetConverter::ListSupportedEncOptions(listed);
    ASSERT_EQ(listed.size(), 2u);
    EXPECT_STREQ(listed[0].c_str(), "ADDBYTEORDERMARKER");
    EXPECT_STREQ(listed[1].c_str(), "RECOVERABLE");
}

TEST(CodesetRegistry, RejectsADuplicateAndGrowsAtThreePerBucket) {
    ZrCStringRegistry r(2);
    const char* const names[] = {"A", "N0", "N1", "N2", "N3", "N4", "N5"};
    for (unsigned i = 0; i < 7; ++i)
        EXPECT_TRUE(r.Register(names[i], 10 + i));
    EXPECT_FALSE(r.Register("A", 2));
    EXPECT_EQ(r.Count(), 7u);
    EXPECT_EQ(r.BucketCount(), 8u) << "the seventh name found six already there";
    EXPECT_EQ(r.RebuildThreshold(), 24u);
    unsigned value = 0;
    for (unsigned i = 0; i < 7; ++i) {
        ASSERT_TRUE(r.Find(names[i], value));
        EXPECT_EQ(value, 10 + i);
    }
    EXPECT_FALSE(r.Find("N6", value));
}

} // namespace
