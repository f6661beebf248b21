// Test helpers shared by the vector-loop suites: convert with the vector loops and without, strictly
// and recovering, and compare everything a caller can see (result, text or bytes, failure position and
// count). The switch is process-wide; VectorGuard puts it back whatever a test did with it.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "foundation/codeset/simd/vector_switch.h"
#include "foundation/codeset/zrcodesetconverter.h"

namespace codeset_test {

namespace simd = zr_codeset::simd;

class VectorGuard {
public:
    VectorGuard() : m_was(simd::Enabled()) {}
    ~VectorGuard() { simd::SetEnabled(m_was); }
    VectorGuard(const VectorGuard&) = delete;
    VectorGuard& operator=(const VectorGuard&) = delete;

private:
    bool m_was;
};

struct Decoded {
    bool ok;
    std::u16string text;
    uint64_t errorPosition, failures;
    bool operator==(const Decoded&) const = default;
};

struct Encoded {
    bool ok;
    std::string bytes;
    uint64_t errorPosition, failures;
    bool operator==(const Encoded&) const = default;
};

// Decodes after the units of `before`, already in the string (the result's base offset then is not 0).
inline Decoded Decode(unsigned id, const void* bytes, size_t n, unsigned options, bool vector,
                      std::u16string_view before = {}) {
    simd::SetEnabled(vector);
    ZrUniString out(before);
    ZrCodesetInfo info;
    bool ok = ZrCodesetConverter::GetConverter(id).from(static_cast<const unsigned char*>(bytes), n, out,
                                                        &info, options);
    return {ok, std::u16string(out.Units(), out.Length()), info.errorPosition, info.failures};
}

inline Decoded Decode(unsigned id, const std::string& bytes, unsigned options, bool vector,
                      std::u16string_view before = {}) {
    return Decode(id, bytes.data(), bytes.size(), options, vector, before);
}

// Encodes after the bytes of `before`, already in the buffer.
inline Encoded Encode(unsigned id, const char16_t* units, size_t n, unsigned options, bool vector,
                      std::string_view before = {}) {
    simd::SetEnabled(vector);
    ZrByteBuffer out(before.data(), before.size());
    ZrCodesetInfo info;
    bool ok = ZrCodesetConverter::GetConverter(id).to(units, n, out, &info, options);
    return {ok, std::string(reinterpret_cast<const char*>(out.Data()), out.Length()), info.errorPosition,
            info.failures};
}

inline Encoded Encode(unsigned id, const std::u16string& units, unsigned options, bool vector,
                      std::string_view before = {}) {
    return Encode(id, units.data(), units.size(), options, vector, before);
}

inline std::string Hex(std::string_view bytes) {
    static const char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (unsigned char b : bytes)
        text += {kDigits[b >> 4], kDigits[b & 15], ' '};
    return text;
}

// With the vector loops and without, strictly and recovering: all must agree, recovery always
// succeeds and fails somewhere exactly when the strict conversion does. Returns the strict outcome.
inline Decoded DecodeBothWays(unsigned id, const std::string& bytes, std::u16string_view before = {}) {
    SCOPED_TRACE("bytes " + Hex(bytes));
    Decoded strict = Decode(id, bytes, 0, true, before);
    EXPECT_EQ(strict, Decode(id, bytes, 0, false, before));
    Decoded recovered = Decode(id, bytes, kZrEncOptionRecoverable, true, before);
    EXPECT_EQ(recovered, Decode(id, bytes, kZrEncOptionRecoverable, false, before));
    EXPECT_TRUE(recovered.ok);
    EXPECT_EQ(recovered.failures == 0, strict.ok);
    return strict;
}

inline Encoded EncodeBothWays(unsigned id, const std::u16string& units, std::string_view before = {}) {
    Encoded strict = Encode(id, units, 0, true, before);
    EXPECT_EQ(strict, Encode(id, units, 0, false, before)) << "got " << Hex(strict.bytes);
    Encoded recovered = Encode(id, units, kZrEncOptionRecoverable, true, before);
    EXPECT_EQ(recovered, Encode(id, units, kZrEncOptionRecoverable, false, before));
    EXPECT_TRUE(recovered.ok);
    EXPECT_EQ(recovered.failures == 0, strict.ok);
    return strict;
}

} // namespace codeset_test
