// Encoding names, aliases, locales and options.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "foundation/codeset/zrcodesetconverter.h"
#include "foundation/codeset/zrcstringregistry.h"

namespace {

TEST(CodesetNames, LooksUpNamesWithoutRegardToCase) {
    const struct {
        const char* name;
        unsigned id;
    } rows[] = {
        {"utf8", 42},        {"unicode-1-1-utf-8", 42},
        {"cn-big5", 0},      {"ISO_646.IRV:1991", 1},
        {"cp367", 1},        {"869", 2},
        {"codepage874", 3},  {"037", 5},
        {"windows-1250", 7}, {"codepage1258", 15},
        {"ibm850", 20},      {"zh_cn.gb18030", 31},
        {"chinese", 32},     {"iso 8859-1", 33},
        {"en-us", 33},       {"l1", 33},
        {"x-sjis", 34},      {"ja_jp.euc", 35},
        {"iso-2022-jp", 36}, {"koi8_r", 37},
        {"tis620.2533", 38}, {"unicode msb", 39},
        {"unicodelsb", 40},  {"Unicode-Local", 41},
        {"utf-16", 43},      {"", 43},
        {"UTF-8 ", 43},      {"koi8-u", 43},
    };
    for (const auto& row : rows)
        EXPECT_EQ(ZrCodesetConverter::GetEncoding(row.name), row.id) << row.name;
    EXPECT_EQ(ZrCodesetConverter::GetEncoding(nullptr), 43u);
}

TEST(CodesetNames, EveryListedNameLeadsBackToItsEncoding) {
    std::vector<ZrCString> names;
    ZrCodesetConverter::ListSupportedEncodings(names);
    ASSERT_EQ(names.size(), 186u);
    EXPECT_STREQ(names.front().c_str(), "BIG5");
    EXPECT_STREQ(names.back().c_str(), "UTF8");
    unsigned last = 0;
    for (const ZrCString& name : names) {
        unsigned id = ZrCodesetConverter::GetEncoding(name.c_str());
        ASSERT_LT(id, 43u) << name.c_str();
        EXPECT_GE(id, last) << "identifiers ascend in table order: " << name.c_str();
        last = id;
    }
}

TEST(CodesetNames, CanonicalNamesAreTheFirstOfEachEncoding) {
    struct Row {
        unsigned id;
        const char* name;
    } rows[] = {{0, "BIG5"},           {1, "US-ASCII"},   {7, "WINDOWS-1250"}, {15, "WINDOWS-1258"},
                {18, "IBM737"},        {30, "IBM866"},    {31, "GB18030"},     {32, "GB2312"},
                {33, "ISO-8859-1"},    {34, "SHIFT_JIS"}, {35, "EUC-JP"},      {36, "ISO-2022-JP"},
                {37, "KOI8-R"},        {38, "TIS-620"},   {39, "UNICODE MSB"}, {40, "UNICODE LSB"},
                {41, "UNICODE LOCAL"}, {42, "UTF-8"}};
    for (const Row& row : rows)
        EXPECT_STREQ(ZrCodesetConverter::GetEncodingName(row.id), row.name);
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

TEST(CodesetNames, GivesTheLocaleShapedNameOfAnEncoding) {
    EXPECT_STREQ(ZrCodesetConverter::GetEncodingLocale(33), "EN_US");
    EXPECT_STREQ(ZrCodesetConverter::GetEncodingLocale(32), "ZH_CN");
    EXPECT_STREQ(ZrCodesetConverter::GetEncodingLocale(35), "JA_JP");
    EXPECT_EQ(ZrCodesetConverter::GetEncodingLocale(31), nullptr);
    EXPECT_EQ(ZrCodesetConverter::GetEncodingLocale(42), nullptr);
    EXPECT_EQ(ZrCodesetConverter::GetEncodingLocale(43), nullptr);
    EXPECT_EQ(ZrCodesetConverter::GetEncodingLocale(99), nullptr);
}

TEST(CodesetNames, KnowsTheTwoOptions) {
    EXPECT_EQ(ZrCodesetConverter::GetEncOption("ADDBYTEORDERMARKER"), 1u);
    EXPECT_EQ(ZrCodesetConverter::GetEncOption("recoverable"), 2u);
    EXPECT_EQ(ZrCodesetConverter::GetEncOption(nullptr), 4u);
    EXPECT_EQ(ZrCodesetConverter::GetEncOption("STRICT"), 4u);
    std::vector<ZrCString> options;
    ZrCodesetConverter::ListSupportedEncOptions(options);
    ASSERT_EQ(options.size(), 2u);
    EXPECT_STREQ(options[0].c_str(), "ADDBYTEORDERMARKER");
    EXPECT_STREQ(options[1].c_str(), "RECOVERABLE");
}

TEST(CodesetNames, RegistriesKeepTheirBucketCounts) {
    const ZrCStringRegistry& names = ZrCodesetConverter::NameRegistry();
    EXPECT_EQ(names.BucketCount(), 430u);
    EXPECT_EQ(names.RebuildThreshold(), 1290u);
    EXPECT_EQ(names.Count(), 186u);
    EXPECT_EQ(ZrCodesetConverter::OptionRegistry().BucketCount(), 40u);
    EXPECT_EQ(ZrCodesetConverter::OptionRegistry().Count(), 2u);
}

TEST(CodesetRegistry, RejectsADuplicateAndGrowsAtThreePerBucket) {
    ZrCStringRegistry r(2);
    EXPECT_TRUE(r.Register("A", 1));
    EXPECT_FALSE(r.Register("A", 2));
    unsigned value = 0;
    ASSERT_TRUE(r.Find("A", value));
    EXPECT_EQ(value, 1u);
    // Appended, not "x" + std::to_string(i): that trips a false -Wrestrict in g++ 12 at -O3.
    for (unsigned i = 0; i < 6; ++i)
        EXPECT_TRUE(r.Register(std::string("N").append(std::to_string(i)).c_str(), 10 + i));
    EXPECT_EQ(r.Count(), 7u);
    EXPECT_EQ(r.BucketCount(), 8u) << "the seventh name found six already there";
    EXPECT_EQ(r.RebuildThreshold(), 24u);
    for (unsigned i = 0; i < 6; ++i) {
        ASSERT_TRUE(r.Find(std::string("N").append(std::to_string(i)).c_str(), value));
        EXPECT_EQ(value, 10 + i);
    }
    EXPECT_FALSE(r.Find("N6", value));
}

} // namespace
