// ZrCodesetConverter: converts between ZrUniString and byte strings in the 43 known encodings, known by
// identifier (0-42; 43 means none) or by name. The converter table is constant data; registries of
// names are built on first use. Nothing here throws; failed conversions return false.
//
// Options (bits, also known by name through GetEncOption):
// - "ADDBYTEORDERMARKER" (1): the Unicode encodings start their output with U+FEFF in their own form
//   (UTF-8 EF BB BF, UTF-16 FE FF or FF FE); the other encodings have no mark and add nothing. When
//   reading, a leading mark in the encoding's own form is always dropped.
// - "RECOVERABLE" (2): conversion goes on past failures and still returns true. Writing bytes, a unit
//   the encoding cannot hold becomes the six characters "\uXXXX" (upper-case hex of the 16-bit unit,
//   one escape per unit of a surrogate pair), written in the target encoding itself; reading, a code
//   that is well formed but unmapped becomes one U+FFFD, and each byte that starts no valid code
//   becomes one U+FFFD. ZrCodesetInfo counts the failures either way.
#pragma once

#include <vector>

#include "foundation/codeset/zrconverter.h"
#include "foundation/string/zrcstring.h"

class ZrCStringRegistry;

class ZrCodesetConverter {
public:
    static constexpr unsigned kNameBuckets = 430;
    static constexpr unsigned kOptionBuckets = 40;

    // Upper-cased and looked up exactly; null or unknown names give 43.
    static unsigned GetEncoding(const char* name);
    // The canonical name, or null above 42.
    static const char* GetEncodingName(unsigned id);
    // The first name in table order that is a caseless prefix of `locale`; 33 when none is.
    static unsigned GetEncodingFromLocale(const char* locale);
    // The first name of `id` shaped like "EN_US" (five characters, "_" third), or null.
    static const char* GetEncodingLocale(unsigned id);
    // Upper-cased and looked up among the option names; null or unknown names give 4.
    static unsigned GetEncOption(const char* name);

    // The table entry for `id`; identifiers above 42 reach slot 43, whose operations fail.
    static const ZrConverter& GetConverter(unsigned id);
    [[nodiscard]] static bool ValidateFrom(const void* bytes, uint64_t length, ZrCodesetInfo* info,
                                           unsigned id, unsigned options);
    [[nodiscard]] static bool ValidateTo(const ZrUniString& text, ZrCodesetInfo* info, unsigned id,
                                         unsigned options);

    // Append every encoding name (table order) or option name.
    static void ListSupportedEncodings(std::vector<ZrCString>& list);
    static void ListSupportedEncOptions(std::vector<ZrCString>& list);

    // The registries, built on first use and kept for the life of the process.
    static const ZrCStringRegistry& NameRegistry();
    static const ZrCStringRegistry& OptionRegistry();
};

// The codeset used for file-system paths and its option word.
struct ZrSysEncoding {
    static unsigned filesystem;
    static unsigned filesystemOptions;
};
