#include "foundation/crypto/zrdes.h"

#include <array>
#include <cstring>

#include "foundation/crypto/zrbyteorder.h"
#include "foundation/crypto/zrsecurewipe.h"

bool ZrDES::encryptdata = true;

// The agent hashes a password for every drive it maps: this code is marked hot so that it sits with
// the rest of the frequently run text instead of beside the rarely used converters of other encodings,
// whose pages would otherwise be mapped in along with it.
#define ZR_DES_HOT __attribute__((hot))

namespace {

// The standard DES tables, 1-based bit numbers with bit 1 the most significant.
constexpr unsigned char kPC1[56] = {57, 49, 41, 33, 25, 17, 9,  1,  58, 50, 42, 34, 26, 18,
                                    10, 2,  59, 51, 43, 35, 27, 19, 11, 3,  60, 52, 44, 36,
                                    63, 55, 47, 39, 31, 23, 15, 7,  62, 54, 46, 38, 30, 22,
                                    14, 6,  61, 53, 45, 37, 29, 21, 13, 5,  28, 20, 12, 4};
constexpr unsigned char kPC2[48] = {14, 17, 11, 24, 1,  5,  3,  28, 15, 6,  21, 10, 23, 19, 12, 4,
                                    26, 8,  16, 7,  27, 20, 13, 2,  41, 52, 31, 37, 47, 55, 30, 40,
                                    51, 45, 33, 48, 44, 49, 39, 56, 34, 53, 46, 42, 50, 36, 29, 32};
constexpr unsigned char kShifts[16] = {1, 1, 2, 2, 2, 2, 2, 2, 1, 2, 2, 2, 2, 2, 2, 1};
constexpr unsigned char kP[32] = {16, 7, 20, 21, 29, 12, 28, 17, 1,  15, 23, 26, 5,  18, 31, 10,
                                  2,  8, 24, 14, 32, 27, 3,  9,  19, 13, 30, 6,  22, 11, 4,  25};
constexpr unsigned char kS[8][64] = {
    {14, 4,  13, 1, 2,  15, 11, 8, 3, 10, 6, 12, 5,  9,  0,  7,  0,  15, 7,  4,  14, 2,
     13, 1,  10, 6, 12, 11, 9,  5, 3, 8,  4, 1,  14, 8,  13, 6,  2,  11, 15, 12, 9,  7,
     3,  10, 5,  0, 15, 12, 8,  2, 4, 9,  1, 7,  5,  11, 3,  14, 10, 0,  6,  13},
    {15, 1,  8,  14, 6,  11, 3,  4, 9,  7,  2, 13, 12, 0,  5,  10, 3,  13, 4,  7, 15, 2,
     8,  14, 12, 0,  1,  10, 6,  9, 11, 5,  0, 14, 7,  11, 10, 4,  13, 1,  5,  8, 12, 6,
     9,  3,  2,  15, 13, 8,  10, 1, 3,  15, 4, 2,  11, 6,  7,  12, 0,  5,  14, 9},
    {10, 0,  9,  14, 6, 3,  15, 5,  1,  13, 12, 7, 11, 4,  2,  8,  13, 7, 0,  9, 3, 4,
     6,  10, 2,  8,  5, 14, 12, 11, 15, 1,  13, 6, 4,  9,  8,  15, 3,  0, 11, 1, 2, 12,
     5,  10, 14, 7,  1, 10, 13, 0,  6,  9,  8,  7, 4,  15, 14, 3,  11, 5, 2,  12},
    {7, 13, 14, 3, 0, 6,  9, 10, 1,  2, 8,  5, 11, 12, 4,  15, 13, 8,  11, 5, 6, 15,
     0, 3,  4,  7, 2, 12, 1, 10, 14, 9, 10, 6, 9,  0,  12, 11, 7,  13, 15, 1, 3, 14,
     5, 2,  8,  4, 3, 15, 0, 6,  10, 1, 13, 8, 9,  4,  5,  11, 12, 7,  2,  14},
    {2,  12, 4, 1,  7,  10, 11, 6, 8, 5,  3, 15, 13, 0,  14, 9,  14, 11, 2,  12, 4,  7,
     13, 1,  5, 0,  15, 10, 3,  9, 8, 6,  4, 2,  1,  11, 10, 13, 7,  8,  15, 9,  12, 5,
     6,  3,  0, 14, 11, 8,  12, 7, 1, 14, 2, 13, 6,  15, 0,  9,  10, 4,  5,  3},
    {12, 1,  10, 15, 9,  2,  6, 8,  0, 13, 3,  4,  14, 7,  5, 11, 10, 15, 4, 2, 7, 12,
     9,  5,  6,  1,  13, 14, 0, 11, 3, 8,  9,  14, 15, 5,  2, 8,  12, 3,  7, 0, 4, 10,
     1,  13, 11, 6,  4,  3,  2, 12, 9, 5,  15, 10, 11, 14, 1, 7,  6,  0,  8, 13},
    {4, 11, 2,  14, 15, 0,  8,  13, 3, 12, 9,  7, 5,  10, 6,  1,  13, 0,  11, 7,  4, 9,
     1, 10, 14, 3,  5,  12, 2,  15, 8, 6,  1,  4, 11, 13, 12, 3,  7,  14, 10, 15, 6, 8,
     0, 5,  9,  2,  6,  11, 13, 8,  1, 4,  10, 7, 9,  5,  0,  15, 14, 2,  3,  12},
    {13, 2, 8,  4, 6, 15, 11, 1,  10, 9,  3, 14, 5,  0,  12, 7,  1,  15, 13, 8, 10, 3,
     7,  4, 12, 5, 6, 11, 0,  14, 9,  2,  7, 11, 4,  1,  9,  12, 14, 2,  0,  6, 10, 13,
     15, 3, 5,  8, 2, 1,  14, 7,  4,  10, 8, 13, 15, 12, 9,  0,  3,  5,  6,  11},
};

// The standard DES odd-parity table: each byte with its low bit chosen to make the count of ones odd.
constexpr std::array<unsigned char, 256> MakeOddParity() {
    std::array<unsigned char, 256> table{};
    for (unsigned b = 0; b < 256; ++b) {
        unsigned ones = 0;
        for (unsigned v = b & 0xFEu; v != 0; v >>= 1)
            ones += v & 1u;
        table[b] = static_cast<unsigned char>((b & 0xFEu) | ((ones & 1u) ? 0u : 1u));
    }
    return table;
}
constexpr std::array<unsigned char, 256> kOddParity = MakeOddParity();

// The LAN Manager constant enciphered under the two halves of the padded password.
constexpr unsigned char kLanManagerConstant[8] = {'K', 'G', 'S', '!', '@', '#', '$', '%'};

constexpr uint32_t Rotl(uint32_t v, unsigned n) {
    return (v << n) | (v >> (32 - n));
}
inline uint32_t Rotr(uint32_t v, unsigned n) {
    return (v >> n) | (v << (32 - n));
}
inline uint32_t Rotl28(uint32_t v, unsigned n) {
    return ((v << n) | (v >> (28 - n))) & 0x0FFFFFFFu;
}

// Lookup tables derived from the standard ones by the compiler, so that they sit in read-only data that
// every agent on a server shares instead of in pages each process writes when it first hashes:
// - sp: the S-boxes combined with P, rotated left by one bit so the round can use the whole word;
// - pc1: the C (high word) and D (low word) halves contributed by one key byte (parity bit ignored);
// - pc2: the two subkey words (first in the high word) contributed by one 7-bit chunk of C or D.
// Pairs share one 64-bit entry so that the key schedule costs one load per table.
struct DesTables {
    uint32_t sp[8][64];
    uint64_t pc1[8][128];
    uint64_t pc2[8][128];
};

constexpr DesTables BuildTables() {
    DesTables t{};
    for (unsigned box = 0; box < 8; ++box) {
        for (unsigned x = 0; x < 64; ++x) {
            unsigned row = ((x >> 4) & 2u) | (x & 1u);
            unsigned col = (x >> 1) & 15u;
            uint32_t pre = static_cast<uint32_t>(kS[box][row * 16 + col]) << (28 - 4 * box);
            uint32_t out = 0;
            for (unsigned j = 0; j < 32; ++j)
                if (pre & (1u << (32 - kP[j])))
                    out |= 1u << (31 - j);
            t.sp[box][x] = Rotl(out, 1);
        }
    }
    for (unsigned byte = 0; byte < 8; ++byte) {
        for (unsigned v = 0; v < 128; ++v) {
            unsigned value = v << 1;
            for (unsigned j = 0; j < 56; ++j) {
                unsigned src = kPC1[j] - 1u;
                if (src / 8 != byte || !(value & (0x80u >> (src % 8))))
                    continue;
                if (j < 28)
                    t.pc1[byte][v] |= uint64_t(1) << (32 + 27 - j);
                else
                    t.pc1[byte][v] |= uint64_t(1) << (27 - (j - 28));
            }
        }
    }
    for (unsigned chunk = 0; chunk < 8; ++chunk) {
        unsigned first = 7 * chunk; // 0-based position in CD of the chunk's top bit
        for (unsigned x = 0; x < 128; ++x) {
            for (unsigned j = 0; j < 48; ++j) {
                unsigned src = kPC2[j] - 1u;
                if (src < first || src >= first + 7 || !(x & (0x40u >> (src - first))))
                    continue;
                unsigned group = j / 6;
                uint32_t bit = 1u << (5 - j % 6);
                t.pc2[chunk][x] |= uint64_t(bit << (24 - 8 * (group / 2))) << ((group & 1u) ? 0 : 32);
            }
        }
    }
    return t;
}

constexpr DesTables kTables = BuildTables();

// Exchanges the bits of `a` selected by `mask << shift` with the bits of `b` selected by `mask`.
inline void PermOp(uint32_t& a, uint32_t& b, unsigned shift, uint32_t mask) {
    uint32_t t = ((a >> shift) ^ b) & mask;
    b ^= t;
    a ^= t << shift;
}

// The initial permutation on a block held as two big-endian words, as a sequence of bit-group swaps.
inline void InitialPermutation(uint32_t& l, uint32_t& r) {
    PermOp(l, r, 4, 0x0F0F0F0Fu);
    PermOp(l, r, 16, 0x0000FFFFu);
    PermOp(r, l, 2, 0x33333333u);
    PermOp(r, l, 8, 0x00FF00FFu);
    PermOp(l, r, 1, 0x55555555u);
}

// The same swaps in reverse order: each undoes itself, so this is the inverse of the above.
inline void FinalPermutation(uint32_t& l, uint32_t& r) {
    PermOp(l, r, 1, 0x55555555u);
    PermOp(r, l, 8, 0x00FF00FFu);
    PermOp(r, l, 2, 0x33333333u);
    PermOp(l, r, 16, 0x0000FFFFu);
    PermOp(l, r, 4, 0x0F0F0F0Fu);
}

// The round function on a half rotated left by one bit: rotated right by four more it lines up the
// odd-numbered expansion groups on byte boundaries, as it stands the even-numbered ones.
inline uint32_t Feistel(const DesTables& t, uint32_t half, uint32_t kOdd, uint32_t kEven) {
    uint32_t w = Rotr(half, 4) ^ kOdd;
    uint32_t f =
        t.sp[0][(w >> 24) & 63u] ^ t.sp[2][(w >> 16) & 63u] ^ t.sp[4][(w >> 8) & 63u] ^ t.sp[6][w & 63u];
    w = half ^ kEven;
    f ^= t.sp[1][(w >> 24) & 63u] ^ t.sp[3][(w >> 16) & 63u] ^ t.sp[5][(w >> 8) & 63u] ^ t.sp[7][w & 63u];
    return f;
}

using zr_crypto::LoadLE;
using zr_crypto::StoreLE;

// Copies the first `count` bytes of `buffer` to `out`, zero-filling what the buffer lacks.
ZR_DES_HOT void CopyPadded(const ZrByteBuffer& buffer, unsigned char* out, size_t count) {
    size_t have = buffer.Length() < count ? static_cast<size_t>(buffer.Length()) : count;
    if (have != 0)
        std::memcpy(out, buffer.Data(), have);
    std::memset(out + have, 0, count - have);
}

ZR_DES_HOT ZrByteBuffer CryptWord(const ZrByteBuffer& key7, const ZrByteBuffer& data) {
    unsigned char key[7];
    unsigned char block[8];
    CopyPadded(key7, key, sizeof(key));
    CopyPadded(data, block, sizeof(block));
    ZrDES::Crypt_Block(key, block, block);
    ZrByteBuffer result(block, sizeof(block));
    ZrSecureWipeObject(key);
    ZrSecureWipeObject(block);
    return result;
}

} // namespace

ZR_DES_HOT void ZrDES::str_to_key(const unsigned char* key7, unsigned char key8[8]) {
    key8[0] = static_cast<unsigned char>(key7[0] >> 1);
    key8[1] = static_cast<unsigned char>(((key7[0] & 0x01) << 6) | (key7[1] >> 2));
    key8[2] = static_cast<unsigned char>(((key7[1] & 0x03) << 5) | (key7[2] >> 3));
    key8[3] = static_cast<unsigned char>(((key7[2] & 0x07) << 4) | (key7[3] >> 4));
    key8[4] = static_cast<unsigned char>(((key7[3] & 0x0F) << 3) | (key7[4] >> 5));
    key8[5] = static_cast<unsigned char>(((key7[4] & 0x1F) << 2) | (key7[5] >> 6));
    key8[6] = static_cast<unsigned char>(((key7[5] & 0x3F) << 1) | (key7[6] >> 7));
    key8[7] = static_cast<unsigned char>(key7[6] & 0x7F);
    for (int i = 0; i < 8; ++i)
        key8[i] = kOddParity[static_cast<unsigned char>(key8[i] << 1)];
}

ZR_DES_HOT ZrByteBuffer ZrDES::str_to_key(const ZrByteBuffer& key7) {
    unsigned char key[7];
    unsigned char wide[8];
    CopyPadded(key7, key, sizeof(key));
    str_to_key(key, wide);
    ZrByteBuffer result(wide, sizeof(wide));
    ZrSecureWipeObject(key);
    ZrSecureWipeObject(wide);
    return result;
}

ZR_DES_HOT void ZrDES::set_odd_parity(ZrByteBuffer& block) {
    uint64_t count = block.Length() < 8 ? block.Length() : 8;
    if (count == 0)
        return;
    unsigned char* bytes = block.MutableData();
    for (uint64_t i = 0; i < count; ++i)
        bytes[i] = kOddParity[bytes[i]];
}

ZR_DES_HOT void ZrDES::set_key(const unsigned char key8[8], kf_struct& schedule) {
    const DesTables& t = kTables;
    uint64_t cd = 0;
    for (int i = 0; i < 8; ++i)
        cd |= t.pc1[i][key8[i] >> 1];
    uint32_t c = static_cast<uint32_t>(cd >> 32);
    uint32_t d = static_cast<uint32_t>(cd);
    for (int round = 0; round < 16; ++round) {
        c = Rotl28(c, kShifts[round]);
        d = Rotl28(d, kShifts[round]);
        uint64_t pair = t.pc2[0][(c >> 21) & 127u] | t.pc2[1][(c >> 14) & 127u] | t.pc2[2][(c >> 7) & 127u] |
                        t.pc2[3][c & 127u] | t.pc2[4][(d >> 21) & 127u] | t.pc2[5][(d >> 14) & 127u] |
                        t.pc2[6][(d >> 7) & 127u] | t.pc2[7][d & 127u];
        schedule.subkeys[2 * round] = static_cast<uint32_t>(pair >> 32);
        schedule.subkeys[2 * round + 1] = static_cast<uint32_t>(pair);
    }
}

ZR_DES_HOT void ZrDES::set_key(const ZrByteBuffer& key8, kf_struct& schedule) {
    unsigned char key[8];
    CopyPadded(key8, key, sizeof(key));
    set_key(key, schedule);
    ZrSecureWipeObject(key);
}

ZR_DES_HOT void ZrDES::des_encrypt(const uint32_t in[2], uint32_t out[2], const kf_struct& schedule) {
    const DesTables& t = kTables;
    uint32_t l = __builtin_bswap32(in[0]);
    uint32_t r = __builtin_bswap32(in[1]);
    InitialPermutation(l, r);
    l = Rotl(l, 1);
    r = Rotl(r, 1);
    const uint32_t* k = schedule.subkeys;
    if (encryptdata) {
        for (int round = 0; round < 16; round += 2) {
            l ^= Feistel(t, r, k[2 * round], k[2 * round + 1]);
            r ^= Feistel(t, l, k[2 * round + 2], k[2 * round + 3]);
        }
    } else {
        for (int round = 15; round > 0; round -= 2) {
            l ^= Feistel(t, r, k[2 * round], k[2 * round + 1]);
            r ^= Feistel(t, l, k[2 * round - 2], k[2 * round - 1]);
        }
    }
    l = Rotr(l, 1);
    r = Rotr(r, 1);
    // The output block is R16 followed by L16.
    FinalPermutation(r, l);
    out[0] = __builtin_bswap32(r);
    out[1] = __builtin_bswap32(l);
}

ZR_DES_HOT void ZrDES::ecb_encrypt(const unsigned char in8[8], unsigned char out8[8],
                                   const kf_struct& schedule) {
    uint32_t words[2] = {LoadLE(in8), LoadLE(in8 + 4)};
    des_encrypt(words, words, schedule);
    StoreLE(words[0], out8);
    StoreLE(words[1], out8 + 4);
}

ZR_DES_HOT ZrByteBuffer ZrDES::ecb_encrypt(const ZrByteBuffer& data, const kf_struct& schedule) {
    unsigned char block[8];
    CopyPadded(data, block, sizeof(block));
    ecb_encrypt(block, block, schedule);
    ZrByteBuffer result(block, sizeof(block));
    ZrSecureWipeObject(block);
    return result;
}

void ZrDES::Crypt_Block(const unsigned char* key7, const unsigned char in8[8], unsigned char out8[8]) {
    unsigned char key8[8];
    kf_struct schedule;
    str_to_key(key7, key8);
    set_key(key8, schedule);
    ecb_encrypt(in8, out8, schedule);
    ZrSecureWipeObject(key8);
    ZrSecureWipeObject(schedule);
}

ZrByteBuffer ZrDES::Encrypt_Word(const ZrByteBuffer& key7, const ZrByteBuffer& data) {
    encryptdata = true;
    return CryptWord(key7, data);
}

// Not called by the agent; this and the functions below serve ZrEncrypt's hashes and responses.
ZrByteBuffer ZrDES::Decrypt_Word(const ZrByteBuffer& key7, const ZrByteBuffer& data) {
    encryptdata = false;
    return CryptWord(key7, data);
}

ZrByteBuffer ZrDES::Crypto_Word(const ZrByteBuffer& key7, const ZrByteBuffer& data) {
    return CryptWord(key7, data);
}

ZrByteBuffer ZrDES::Triple_DES_Encrypt(const ZrByteBuffer& data, const ZrByteBuffer& k1,
                                       const ZrByteBuffer& k2, const ZrByteBuffer& k3) {
    ZrByteBuffer step = Encrypt_Word(k1, data);
    step = Decrypt_Word(k2, step);
    return Encrypt_Word(k3, step);
}

ZrByteBuffer ZrDES::Triple_DES_Decrypt(const ZrByteBuffer& data, const ZrByteBuffer& k1,
                                       const ZrByteBuffer& k2, const ZrByteBuffer& k3) {
    ZrByteBuffer step = Decrypt_Word(k3, data);
    step = Encrypt_Word(k2, step);
    return Decrypt_Word(k1, step);
}

ZrByteBuffer ZrDES::hashfn(const ZrByteBuffer& pw14) {
    unsigned char password[14];
    unsigned char hash[16];
    CopyPadded(pw14, password, sizeof(password));
    // Crypt_Block leaves the direction alone: a hash right after a deciphering call deciphers.
    Crypt_Block(password, kLanManagerConstant, hash);
    Crypt_Block(password + 7, kLanManagerConstant, hash + 8);
    ZrByteBuffer result(hash, sizeof(hash));
    ZrSecureWipeObject(password);
    ZrSecureWipeObject(hash);
    return result;
}

void ZrDES::enc_password(const ZrByteBuffer& hash21, const ZrByteBuffer& challenge8, ZrByteBuffer& out) {
    unsigned char keys[21];
    unsigned char challenge[8];
    unsigned char response[24];
    CopyPadded(hash21, keys, sizeof(keys));
    CopyPadded(challenge8, challenge, sizeof(challenge));
    for (int i = 0; i < 3; ++i)
        Crypt_Block(keys + 7 * i, challenge, response + 8 * i);
    out.Append(response, sizeof(response));
    ZrSecureWipeObject(keys);
    ZrSecureWipeObject(response);
}
