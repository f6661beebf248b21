// Encoding names and aliases.
#include <gtest/gtest.h>

#include <cctype>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "foundation/codeset/zrcodesetconverter.h"

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
    for (const auto& [id, line] : Names()) {
        std::vector<std::string> names = Split(line);
        EXPECT_STREQ(ZrCodesetConverter::GetEncodingName(id), names[0].c_str());
        for (const std::string& name : names) {
            EXPECT_EQ(ZrCodesetConverter::GetEncoding(name.c_str()), id) << name;
            std::string lower = name;
            for (char& c : lower)
                c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            EXPECT_EQ(ZrCodesetConverter::GetEncoding(lower.c_str()), id) << lower;
        }
    }
    for (const char* unknown : {"", "UTF-8 ", "koi8-u", "utf-16"})
        EXPECT_EQ(ZrCodesetConverter::GetEncoding(unknown), 43u) << unknown;
    EXPECT_EQ(ZrCodesetConverter::GetEncoding(nullptr), 43u);
    EXPECT_EQ(ZrCodesetConverter::GetEncodingName(43), nullptr);
    EXPECT_EQ(ZrCodesetConverter::GetEncodingName(1000), nullptr);
}

} // namespace
