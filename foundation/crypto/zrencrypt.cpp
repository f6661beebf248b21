#include "foundation/crypto/zrencrypt.h"

#include <cstring>

#include "foundation/crypto/zrdes.h"
#include "foundation/crypto/zrmessagedigest.h"
#include "foundation/crypto/zrsecurewipe.h"

namespace {

// Same length and bytes; the time taken depends on the length only, not on where the bytes differ.
bool SameBytes(const ZrByteBuffer& a, const ZrByteBuffer& b) {
    if (a.Length() != b.Length())
        return false;
    unsigned char diff = 0;
    for (uint64_t i = 0; i < a.Length(); ++i)
        diff |= static_cast<unsigned char>(a[i] ^ b[i]);
    return diff == 0;
}

} // namespace

ZrByteBuffer ZrEncrypt::DES_Encrypt(const ZrByteBuffer& data, const ZrByteBuffer& key) {
    return ZrDES::Encrypt_Word(key, data);
}

// Not called by the agent (it uses DES_Encrypt alone); this and the hashes below are kept as one set.
ZrByteBuffer ZrEncrypt::DES_Decrypt(const ZrByteBuffer& data, const ZrByteBuffer& key) {
    return ZrDES::Decrypt_Word(key, data);
}

ZrByteBuffer ZrEncrypt::Triple_DES_Encrypt(const ZrByteBuffer& data, const ZrByteBuffer& k1,
                                           const ZrByteBuffer& k2, const ZrByteBuffer& k3) {
    return ZrDES::Triple_DES_Encrypt(data, k1, k2, k3);
}

ZrByteBuffer ZrEncrypt::Triple_DES_Decrypt(const ZrByteBuffer& data, const ZrByteBuffer& k1,
                                           const ZrByteBuffer& k2, const ZrByteBuffer& k3) {
    return ZrDES::Triple_DES_Decrypt(data, k1, k2, k3);
}

ZrByteBuffer ZrEncrypt::MSHash(const ZrByteBuffer& password, bool) {
    // Built at its final size in one allocation so that no stray copy of the password is freed unwiped.
    ZrByteBuffer padded;
    padded.SetLength(14);
    uint64_t take = password.Length() < 14 ? password.Length() : 14;
    if (take != 0)
        std::memcpy(padded.MutableData(), password.Data(), take);
    return ZrDES::hashfn(padded);
}

ZrByteBuffer ZrEncrypt::UNIHash(const ZrByteBuffer& password) {
    return ZrMessageDigest::MDEncode(password, kZrDigestMD4);
}

ZrByteBuffer ZrEncrypt::MD4_Encode(const ZrByteBuffer& data) {
    return ZrMessageDigest::MDEncode(data, kZrDigestMD4);
}

ZrByteBuffer ZrEncrypt::MD5_Encode(const ZrByteBuffer& data) {
    return ZrMessageDigest::MDEncode(data, kZrDigestMD5);
}

void ZrEncrypt::Password_Hash(const ZrByteBuffer& password, ZrByteBuffer& lm, ZrByteBuffer& nt) {
    lm = MSHash(password);
    nt = ZrMessageDigest::MDEncode(password, kZrDigestMD4);
}

void ZrEncrypt::Encrypt_hash(const ZrByteBuffer& hash16, const ZrByteBuffer& challenge8, ZrByteBuffer& out) {
    ZrByteBuffer keys;
    keys.SetLength(21);
    uint64_t take = hash16.Length() < 16 ? hash16.Length() : 16;
    if (take != 0)
        std::memcpy(keys.MutableData(), hash16.Data(), take);
    ZrDES::enc_password(keys, challenge8, out);
}

bool ZrEncrypt::CheckNTLMPassword(const ZrByteBuffer& response, const ZrByteBuffer& hash16,
                                  const ZrByteBuffer& challenge8) {
    ZrByteBuffer expected;
    Encrypt_hash(hash16, challenge8, expected);
    return SameBytes(expected, response);
}

bool ZrEncrypt::compare_pwd(const ZrByteBuffer& lmhash, const ZrByteBuffer& nthash,
                            const ZrByteBuffer& response, const ZrByteBuffer& challenge) {
    bool lm = CheckNTLMPassword(response, lmhash, challenge);
    bool nt = CheckNTLMPassword(response, nthash, challenge);
    return lm || nt;
}

bool ZrEncrypt::compare_pwd_low(const ZrByteBuffer& stored, const ZrByteBuffer&,
                                const ZrByteBuffer& password) {
    // A "password" of hash length or more may be the stored hash itself.
    if (password.Length() > 15 && SameBytes(stored, password))
        return true;
    ZrByteBuffer hash = MSHash(password);
    return stored.Length() > 15 && hash.Length() > 15 && SameBytes(stored, hash);
}
