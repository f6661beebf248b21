// The four operations every encoding provides, as plain functions collected in the converter table.
// Converters append to their output and return false at the first unit or byte they cannot convert
// (unless the options ask for recovery); they never throw.
#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/string/zrunistring.h"

// Conversion options, combined as bits.
enum ZrEncOption : unsigned {
    kZrEncOptionNone = 0,
    kZrEncOptionAddByteOrderMarker = 1, // "ADDBYTEORDERMARKER"
    kZrEncOptionRecoverable = 2,        // "RECOVERABLE"
    kZrEncOptionUnknown = 4,            // what GetEncOption answers for a null name
};

// What a conversion or check found: how far it got and where it stopped.
struct ZrCodesetInfo {
    uint64_t errorPosition = 0; // unit (to bytes) or byte (from bytes) index of the first failure
    uint64_t failures = 0;      // characters that could not be converted (replaced when recoverable)
};

using ZrConvertToFn = bool (*)(const ZrUniChar* units, size_t count, ZrByteBuffer& out, ZrCodesetInfo* info,
                               unsigned options);
using ZrConvertFromFn = bool (*)(const unsigned char* bytes, size_t length, ZrUniString& out,
                                 ZrCodesetInfo* info, unsigned options);
using ZrValidateToFn = bool (*)(const ZrUniChar* units, size_t count, ZrCodesetInfo* info, unsigned options);
using ZrValidateFromFn = bool (*)(const unsigned char* bytes, size_t length, ZrCodesetInfo* info,
                                  unsigned options);

struct ZrConverter {
    ZrConvertToFn to;
    ZrConvertFromFn from;
    ZrValidateToFn validateTo;
    ZrValidateFromFn validateFrom;
    const char* name;
};

// Encoding identifiers the rest of the system names directly.
enum ZrEncodingId : unsigned {
    kZrEncodingUsAscii = 1,
    kZrEncodingIso88591 = 33,
    kZrEncodingUnicodeMsb = 39,
    kZrEncodingUnicodeLsb = 40,
    kZrEncodingUnicodeLocal = 41,
    kZrEncodingUtf8 = 42,
    kZrEncodingNone = 43,
};

// UTF-8 is what every literal, file name and message goes through. Its code (and the table lookup in
// front of it) is marked hot, which puts it with the rest of the frequently run text: a process that
// uses no other encoding then never maps the pages of the other converters.
#define ZR_CODESET_HOT __attribute__((hot))

// The UTF-8 family (identifier 42).
namespace zr_codeset::utf8 {
[[nodiscard]] ZR_CODESET_HOT bool To(const ZrUniChar* units, size_t count, ZrByteBuffer& out,
                                     ZrCodesetInfo* info, unsigned options);
[[nodiscard]] ZR_CODESET_HOT bool From(const unsigned char* bytes, size_t length, ZrUniString& out,
                                       ZrCodesetInfo* info, unsigned options);
[[nodiscard]] ZR_CODESET_HOT bool ValidateTo(const ZrUniChar* units, size_t count, ZrCodesetInfo* info,
                                             unsigned options);
[[nodiscard]] ZR_CODESET_HOT bool ValidateFrom(const unsigned char* bytes, size_t length, ZrCodesetInfo* info,
                                               unsigned options);
} // namespace zr_codeset::utf8

// The converter-table entries, defined beside their codecs.
namespace zr_codeset::converters {
extern const ZrConverter kUtf8;
extern const ZrConverter kUsAscii;
extern const ZrConverter kIso88591;
// Identifiers 2-30, then 37 (KOI8-R) and 38 (TIS-620).
extern const ZrConverter kCodePages[31];
extern const ZrConverter kBig5;
extern const ZrConverter kGb2312;
extern const ZrConverter kGb18030;
extern const ZrConverter kShiftJis;
extern const ZrConverter kEucJp;
extern const ZrConverter kIso2022Jp;
extern const ZrConverter kUnicodeMsb;
extern const ZrConverter kUnicodeLsb;
extern const ZrConverter kUnicodeLocal;
} // namespace zr_codeset::converters

// The operations of slot 43 ("no encoding"): every conversion fails cleanly.
namespace zr_codeset::invalid {
[[nodiscard]] bool invalidto(const ZrUniChar* units, size_t count, ZrByteBuffer& out, ZrCodesetInfo* info,
                             unsigned options);
[[nodiscard]] bool invalidfrom(const unsigned char* bytes, size_t length, ZrUniString& out,
                               ZrCodesetInfo* info, unsigned options);
[[nodiscard]] bool novalidateto(const ZrUniChar* units, size_t count, ZrCodesetInfo* info, unsigned options);
[[nodiscard]] bool novalidatefrom(const unsigned char* bytes, size_t length, ZrCodesetInfo* info,
                                  unsigned options);
} // namespace zr_codeset::invalid
