#include "foundation/codeset/zrcodesetconverter.h"

namespace {

using namespace zr_codeset;

constexpr ZrConverter kInvalid = {invalid::invalidto, invalid::invalidfrom, invalid::novalidateto,
                                  invalid::novalidatefrom, nullptr};

// Slots 0-42 by identifier, slot 43 for "no encoding". Encodings not yet provided answer like slot 43.
constexpr ZrConverter kConverters[44] = {
    kInvalid, kInvalid, kInvalid, kInvalid, kInvalid, kInvalid, kInvalid, kInvalid, kInvalid, kInvalid, kInvalid,
    kInvalid, kInvalid, kInvalid, kInvalid, kInvalid, kInvalid, kInvalid, kInvalid, kInvalid, kInvalid, kInvalid,
    kInvalid, kInvalid, kInvalid, kInvalid, kInvalid, kInvalid, kInvalid, kInvalid, kInvalid, kInvalid, kInvalid,
    kInvalid, kInvalid, kInvalid, kInvalid, kInvalid, kInvalid, kInvalid, kInvalid, kInvalid,
    {utf8::To, utf8::From, utf8::ValidateTo, utf8::ValidateFrom, "UTF-8"},
    kInvalid,
};

}  // namespace

unsigned ZrSysEncoding::filesystem = kZrEncodingUtf8;
unsigned ZrSysEncoding::filesystemOptions = 0;

const ZrConverter& ZrCodesetConverter::GetConverter(unsigned id) {
    return kConverters[id > kZrEncodingNone ? kZrEncodingNone : id];
}

namespace zr_codeset::invalid {

bool invalidto(const ZrUniChar*, size_t, ZrByteBuffer&, ZrCodesetInfo* info, unsigned) {
    if (info)
        info->errorPosition = 0;
    return false;
}

bool invalidfrom(const unsigned char*, size_t, ZrUniString&, ZrCodesetInfo* info, unsigned) {
    if (info)
        info->errorPosition = 0;
    return false;
}

bool novalidateto(const ZrUniChar*, size_t, ZrCodesetInfo*, unsigned) { return false; }
bool novalidatefrom(const unsigned char*, size_t, ZrCodesetInfo*, unsigned) { return false; }

}  // namespace zr_codeset::invalid
