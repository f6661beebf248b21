// ZrEncrypt: the password toolkit over ZrDES and ZrMessageDigest: DES and Triple-DES of one block, the
// LAN Manager and NT password hashes, the 24-byte challenge response and the checks against stored
// hashes. All static, all on ZrByteBuffer; nothing fails (short inputs read as zero-padded).
#pragma once

#include "foundation/string/zrbytebuffer.h"

class ZrEncrypt {
public:
    // Note the argument order: the data comes first, then the 7-byte key.
    static ZrByteBuffer DES_Encrypt(const ZrByteBuffer& data, const ZrByteBuffer& key);
    static ZrByteBuffer DES_Decrypt(const ZrByteBuffer& data, const ZrByteBuffer& key);
    static ZrByteBuffer Triple_DES_Encrypt(const ZrByteBuffer& data, const ZrByteBuffer& k1,
                                           const ZrByteBuffer& k2, const ZrByteBuffer& k3);
    static ZrByteBuffer Triple_DES_Decrypt(const ZrByteBuffer& data, const ZrByteBuffer& k1,
                                           const ZrByteBuffer& k2, const ZrByteBuffer& k3);

    // The LAN Manager hash of the password bytes exactly as given (cut or zero-padded to 14; no case
    // change here). `flag` is accepted for callers that pass one and has no effect. Like every hash
    // here it runs DES in the current direction of ZrDES::encryptdata.
    static ZrByteBuffer MSHash(const ZrByteBuffer& password, bool flag = false);
    // The NT hash: MD4 over the password bytes as given (the caller supplies the 16-bit little-endian form).
    static ZrByteBuffer UNIHash(const ZrByteBuffer& password);
    static ZrByteBuffer MD4_Encode(const ZrByteBuffer& data);
    static ZrByteBuffer MD5_Encode(const ZrByteBuffer& data);
    static void Password_Hash(const ZrByteBuffer& password, ZrByteBuffer& lm, ZrByteBuffer& nt);

    // Appends the 24-byte challenge response of a 16-byte hash (padded with five zero bytes) to `out`.
    static void Encrypt_hash(const ZrByteBuffer& hash16, const ZrByteBuffer& challenge8, ZrByteBuffer& out);
    [[nodiscard]] static bool CheckNTLMPassword(const ZrByteBuffer& response, const ZrByteBuffer& hash16,
                                                const ZrByteBuffer& challenge8);
    // True when `response` is the challenge response of either stored hash.
    [[nodiscard]] static bool compare_pwd(const ZrByteBuffer& lmhash, const ZrByteBuffer& nthash,
                                          const ZrByteBuffer& response, const ZrByteBuffer& challenge);
    // True when `password` (longer than 15 bytes) is `stored` itself, or when `stored` is the LAN
    // Manager hash of `password`. `other` takes no part.
    [[nodiscard]] static bool compare_pwd_low(const ZrByteBuffer& stored, const ZrByteBuffer& other,
                                              const ZrByteBuffer& password);
};
