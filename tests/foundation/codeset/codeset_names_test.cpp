// Encoding names, aliases, locales and options.
#include <gtest/gtest.h>

#include <cctype>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "foundation/codeset/zrcodesetconverter.h"
#include "foundation/codeset/zrcstringregistry.h"

namespace {

// Every name of every encoding, canonical name first, in the order the list gives them.
std::vector<std::pair<unsigned, std::string>> Names() {
    std::vector<std::pair<unsigned, std::string>> rows;
    std::ifstream in(KP_SOURCE_DIR "/tests/foundation/codeset/names.txt");
    for (std::string line; std::getline(in, line);)
        if (!line.empty() && line[0] != '#')
            rows.emplace_back(std::stoul(line), line.substr(line.find(' ') + 1));
    EXPECT_EQ(rows.size(), 43u) << "names.txt";
    return rows;
}

std::vector<std::string> Split(const std::string& names) {
    std::vector<std::string> out;
    std::istringstream in(names);
    for (std::string name; std::getline(in, name, '|');)
        out.push_back(name);
    return out;
}

TEST(CodesetNames, EveryNameHasItsIdentifierInAnyCase) {
    std::vector<std::string> all;
    for (const auto& [id, line] : Names()) {
        std::vector<std::string> names = Split(line);
        EXPECT_STREQ(ZrCodesetConverter::GetEncodingName(id), names[0].c_str());
        for (std::string& name : names) {
            EXPECT_EQ(ZrCodesetConverter::GetEncoding(name.c_str()), id) << name;
            std::string lower = name;
            for (char& c : lower)
                c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            EXPECT_EQ(ZrCodesetConverter::GetEncoding(lower.c_str()), id) << lower;
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
