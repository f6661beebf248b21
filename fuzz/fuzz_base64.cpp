// Decodes arbitrary bytes with the program's Base64 alphabet, then checks that re-encoding the result
// and decoding again gives the same bytes, and that the user-name decoder copes with the same text.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "app/credentials.h"
#include "foundation/codeset/zrconverter.h"
#include "foundation/crypto/zrbase64.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ZrByteBuffer text(data, size);
    ZrByteBuffer decoded = ZrBase64::FromEnc(text, ZrBase64::kProgramAlphabet);
    if (decoded.Length() > size)
        std::abort();
    ZrByteBuffer again =
        ZrBase64::FromEnc(ZrBase64::ToEnc(decoded, ZrBase64::kProgramAlphabet), ZrBase64::kProgramAlphabet);
    if (again != decoded)
        std::abort();

    ZrUniString encoded;
    if (encoded.CreateFrom(data, size, kZrEncodingUtf8, 0))
        credentials::DecodeUsername(encoded);
    return 0;
}
