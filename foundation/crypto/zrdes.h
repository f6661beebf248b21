// ZrDES: single-block DES (ECB on one 64-bit block) with the 7-byte key handling of the LAN Manager
// scheme, as static operations on ZrByteBuffer. The direction of des_encrypt is the process-wide flag
// `encryptdata` (one thread at a time). Nothing fails: short inputs read as if padded with zero bytes.
#pragma once

#include <cstdint>

#include "foundation/string/zrbytebuffer.h"

// The DES key schedule: two 32-bit words per round, 16 rounds. Each pair holds the round's eight
// 6-bit subkey groups, the odd-numbered groups in the first word and the even-numbered in the second.
struct kf_struct {
    uint32_t subkeys[32];
};

class ZrDES {
public:
    // Direction of des_encrypt: true enciphers, false deciphers. Encrypt_Word sets it, Decrypt_Word
    // clears it, the Triple-DES steps set it before each step, everything else uses it as it stands.
    static bool encryptdata;

    // Spreads the first 7 bytes (56 bits) of `key7` over 8 bytes, 7 bits per byte in the high bits,
    // each byte then set to odd parity.
    static ZrByteBuffer str_to_key(const ZrByteBuffer& key7);
    // Sets each of the first 8 bytes of `block` to odd parity in place.
    static void set_odd_parity(ZrByteBuffer& block);
    static void set_key(const ZrByteBuffer& key8, kf_struct& schedule);
    // One DES block on two words that hold the bytes 0-3 and 4-7 in little-endian order.
    static void des_encrypt(const uint32_t in[2], uint32_t out[2], const kf_struct& schedule);
    // The first 8 bytes of `data` through des_encrypt; returns 8 bytes.
    static ZrByteBuffer ecb_encrypt(const ZrByteBuffer& data, const kf_struct& schedule);

    static ZrByteBuffer Encrypt_Word(const ZrByteBuffer& key7, const ZrByteBuffer& data);
    static ZrByteBuffer Decrypt_Word(const ZrByteBuffer& key7, const ZrByteBuffer& data);
    // str_to_key, set_key and ecb_encrypt in the direction the flag already has.
    static ZrByteBuffer Crypto_Word(const ZrByteBuffer& key7, const ZrByteBuffer& data);

    // Encipher under k1, decipher under k2, encipher under k3 (and the inverse).
    static ZrByteBuffer Triple_DES_Encrypt(const ZrByteBuffer& data, const ZrByteBuffer& k1,
                                           const ZrByteBuffer& k2, const ZrByteBuffer& k3);
    static ZrByteBuffer Triple_DES_Decrypt(const ZrByteBuffer& data, const ZrByteBuffer& k1,
                                           const ZrByteBuffer& k2, const ZrByteBuffer& k3);

    // LAN Manager hash core: the 8-byte LAN Manager constant under bytes 0-6 and under bytes 7-13 of
    // `pw14`, through Crypto_Word (so in the flag's current direction); 16 bytes.
    static ZrByteBuffer hashfn(const ZrByteBuffer& pw14);
    // Appends to `out` the 8-byte challenge enciphered under each 7-byte third of `hash21` (24 bytes).
    static void enc_password(const ZrByteBuffer& hash21, const ZrByteBuffer& challenge8, ZrByteBuffer& out);

    // Raw-byte forms of the steps above, for callers that keep their secrets in their own memory.
    // `key7` is 7 bytes, `in8` and `out8` are 8 bytes (they may be the same block).
    static void str_to_key(const unsigned char* key7, unsigned char key8[8]);
    static void set_key(const unsigned char key8[8], kf_struct& schedule);
    static void ecb_encrypt(const unsigned char in8[8], unsigned char out8[8], const kf_struct& schedule);
    // str_to_key, set_key and ecb_encrypt in the flag's current direction; wipes its key material.
    static void Crypt_Block(const unsigned char* key7, const unsigned char in8[8], unsigned char out8[8]);
};
