#include "app/credentials.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "app/exitcodes.h"
#include "app/globals.h"
#include "foundation/buildconfig.h"
#include "foundation/codeset/zrcodesetconverter.h"
#include "foundation/codeset/zrconverter.h"
#include "foundation/crypto/zrbase64.h"
#include "foundation/crypto/zrchecksum.h"
#include "foundation/crypto/zrencrypt.h"
#include "foundation/crypto/zrsecurewipe.h"
#include "foundation/string/zrhexdigits.h"
#include "foundation/system/zruserdatabase.h"

namespace credentials {

namespace {

// The encoded text's bytes through the program's Base64 alphabet. The encoded form is as good as
// the clear password; like every byte buffer it is wiped when released.
ZrByteBuffer Decode(const ZrUniString& text) {
    ZrByteBuffer encoded;
    if (!text.AsEncoding(kZrEncodingUtf8, 0, encoded))
        encoded.Clear();
    return ZrBase64::FromEnc(encoded, ZrBase64::kProgramAlphabet);
}

} // namespace

bool ResolveUserName(const ZrUniString& nameOverride, uint32_t euid, ZrUniString& name) {
    if (!nameOverride.IsEmpty()) {
        // Only the superuser may act as another named user.
        if (euid != 0) {
            ZrUserEntry entry;
            if (!ZrUserDatabaseIterator::Find(euid, entry) || entry.name != nameOverride)
                return false;
        }
        name = nameOverride;
        return true;
    }
    ZrUserEntry entry;
    if (!ZrUserDatabaseIterator::Find(euid, entry))
        return false;
    name = entry.name;
    return true;
}

const ZrUniString& UserName(const ZrUniString& nameOverride) {
    static ZrUniString saved;
    if (!saved.IsEmpty())
        return saved;
    ZrUniString name;
    if (!ResolveUserName(nameOverride, ZrUserDatabaseIterator::EffectiveUserId(), name))
        ExitBadUser();
    saved = name;
    return saved;
}

void ExitBadUser() {
    cerr << "Failed to work out the current user\n";
    cerr.Flush();
    std::exit(kExitBadSetup);
}

ZrUniString DecodeUsername(const ZrUniString& text) {
    ZrByteBuffer bytes = Decode(text);
    // Cut at the first zero byte like the password: the configuration text could not carry it.
    const size_t length =
        bytes.Data() ? strnlen(reinterpret_cast<const char*>(bytes.Data()), bytes.Length()) : 0;
    ZrUniString name;
    if (!name.CreateFrom(bytes.Data(), length, kZrEncodingUtf8, 0))
        name = ZrUniString();
    return name;
}

ZrUniString DecodePassword(const ZrUniString& text, const ZrUniString& accountName) {
    ZrByteBuffer password = Decode(text);
    // Read as a zero-terminated string: the password ends at its first zero byte.
    const unsigned char* bytes = password.Data();
    size_t length = bytes ? strnlen(reinterpret_cast<const char*>(bytes), password.Length()) : 0;
    ZrCString converted;
    ConvertPassword(bytes, length, accountName, converted);
    ZrUniString result;
    if (!result.CreateFrom(converted.c_str(), converted.Length(), ZrSysEncoding::filesystem,
                           ZrSysEncoding::filesystemOptions))
        result = ZrUniString();
    return result;
}

ZrByteBuffer PasswordKey(uint32_t checksum) {
    char text[16];
    std::snprintf(text, sizeof(text), "%07X", checksum ^ KPATDMCL_PASSWORD_MASK);
    // Eight digits are possible; the key is the first seven characters whatever the length.
    ZrByteBuffer key(text, 7);
    ZrSecureWipeObject(text);
    return key;
}

void ConvertPassword(const char* password, const ZrUniString& accountName, ZrCString& out) {
    size_t length = password ? std::strlen(password) : 0;
    ConvertPassword(reinterpret_cast<const unsigned char*>(password), length, accountName, out);
}

void ConvertPassword(const unsigned char* password, size_t length, const ZrUniString& accountName,
                     ZrCString& out) {
    // Sized once, so the clear text lives in one block that is wiped below.
    const size_t total = (length + 1 + 7) / 8 * 8;
    ZrByteBuffer plain;
    plain.SetLength(total);
    unsigned char* bytes = plain.MutableData();
    bytes[0] = static_cast<unsigned char>((length + 0x41) & 0xFF);
    if (length != 0)
        std::memcpy(bytes + 1, password, length);
    std::memset(bytes + 1 + length, ' ', total - 1 - length);

    ZrByteBuffer key = PasswordKey(ZrCheckSum::Sum(accountName));
    for (size_t offset = 0; offset < total; offset += 8) {
        ZrByteBuffer piece(bytes + offset, 8);
        ZrByteBuffer cipher = ZrEncrypt::DES_Encrypt(piece, key);
        char digits[16];
        uint32_t count = 0;
        for (uint64_t i = 0; i < cipher.Length() && i < 8; ++i) {
            // Low nibble first, deliberately: the file server reads the digits in this order.
            digits[count++] = kZrHexDigits[cipher[i] & 0x0F];
            digits[count++] = kZrHexDigits[cipher[i] >> 4];
        }
        out.Append(digits, count);
        ZrSecureWipeObject(digits);
    }
}

} // namespace credentials
