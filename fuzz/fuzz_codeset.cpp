// Decoders on arbitrary bytes. The first byte picks the encoding (and recovery); the rest is decoded.
// A strict decode that succeeds must agree with validation, and its text must encode and decode back
// to itself (with a byte order mark, so that a text starting with U+FEFF keeps it).
#include <cstdint>
#include <cstdlib>

#include "foundation/codeset/zrcodesetconverter.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    const unsigned id = data[0] % 44;
    const unsigned options = (data[0] / 44) & 1 ? kZrEncOptionRecoverable : 0;
    ZrUniString text;
    bool ok = text.CreateFrom(data + 1, size - 1, id, options);
    if (options)
        return 0;
    ZrByteBuffer input(data + 1, size - 1);
    if (ZrUniString::IsValid(input, id, 0) != ok)
        abort();
    if (!ok)
        return 0;
    ZrByteBuffer bytes;
    if (!text.AsEncoding(id, kZrEncOptionAddByteOrderMarker, bytes))
        abort();
    ZrUniString again;
    if (!again.CreateFrom(bytes.Data(), bytes.Length(), id, 0) || !(again == text))
        abort();
    return 0;
}
