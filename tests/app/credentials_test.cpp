#include "app/credentials.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "foundation/buildconfig.h"
#include "foundation/crypto/zrchecksum.h"
#include "foundation/crypto/zrdes.h"
#include "foundation/crypto/zrencrypt.h"

namespace {

// The hexadecimal text of ConvertPassword back to bytes: two digits per byte, low nibble first.
ZrByteBuffer FromLowNibbleFirstHex(const std::string& text) {
    auto value = [](char c) { return static_cast<unsigned char>(c <= '9' ? c - '0' : c - 'A' + 10); };
    ZrByteBuffer out;
    for (size_t i = 0; i + 1 < text.size(); i += 2)
        out.AppendByte(static_cast<unsigned char>(value(text[i]) | (value(text[i + 1]) << 4)));
    return out;
}

// The key worked out independently: the checksum exclusive-or the mask, "%07X", first seven characters.
ZrByteBuffer KeyFor(const ZrUniString& account) {
    char text[16];
    std::snprintf(text, sizeof(text), "%07X", ZrCheckSum::Sum(account) ^ KPATDMCL_PASSWORD_MASK);
    return ZrByteBuffer(text, 7);
}

// Deciphers a converted password back into the enciphered blocks' clear bytes.
std::string Decipher(const ZrCString& converted, const ZrUniString& account) {
    ZrByteBuffer cipher = FromLowNibbleFirstHex(converted.c_str());
    ZrByteBuffer key = KeyFor(account);
    std::string plain;
    for (uint64_t offset = 0; offset + 8 <= cipher.Length(); offset += 8) {
        ZrByteBuffer block = ZrEncrypt::DES_Decrypt(ZrByteBuffer(cipher.Data() + offset, 8), key);
        plain.append(reinterpret_cast<const char*>(block.Data()), 8);
    }
    ZrDES::encryptdata = true;
    return plain;
}

TEST(ConvertPasswordTest, FramesLengthBytePasswordAndSpacesIntoBlocks) {
    const struct {
        const char* account;
        size_t length;
        size_t digits;
    } cases[] = {
        {"alice", 0, 16},  // the length byte and seven spaces
        {"bob", 7, 16},    // exactly one block
        {"alice", 8, 32},  // the length byte pushes one byte into a second block
        {"bob", 200, 416}, // 201 bytes round up to 26 blocks; the length byte wraps
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.length);
        const ZrUniString account(c.account);
        std::string password;
        for (size_t i = 0; i < c.length; ++i)
            password += static_cast<char>('a' + i % 26);
        ZrCString converted;
        credentials::ConvertPassword(password.c_str(), account, converted);
        ASSERT_EQ(converted.Length(), c.digits);
        for (uint32_t i = 0; i < converted.Length(); ++i)
            ASSERT_NE(std::string("0123456789ABCDEF").find(converted[i]), std::string::npos);

        std::string expected(1, static_cast<char>((c.length + 0x41) & 0xFF));
        expected += password;
        expected.append(c.digits / 2 - expected.size(), ' ');
        EXPECT_EQ(Decipher(converted, account), expected);
    }
    // A null pointer converts like the empty password.
    ZrCString empty, fromNull;
    credentials::ConvertPassword("", ZrUniString("bob"), empty);
    credentials::ConvertPassword(static_cast<const char*>(nullptr), ZrUniString("bob"), fromNull);
    EXPECT_EQ(fromNull, empty);
}

TEST(ConvertPasswordTest, KeyIsTheFirstSevenCharactersOfTheMaskedChecksum) {
    auto text = [](const ZrByteBuffer& key) {
        return std::string(reinterpret_cast<const char*>(key.Data()), 7);
    };
    ASSERT_EQ(credentials::PasswordKey(0x12345678u ^ KPATDMCL_PASSWORD_MASK).Length(), 7u);
    // Eight digits: the last one is dropped.
    EXPECT_EQ(text(credentials::PasswordKey(0x12345678u ^ KPATDMCL_PASSWORD_MASK)), "1234567");
    EXPECT_EQ(text(credentials::PasswordKey(0x0ABCDEFu ^ KPATDMCL_PASSWORD_MASK)), "0ABCDEF");
    EXPECT_EQ(text(credentials::PasswordKey(0x5u ^ KPATDMCL_PASSWORD_MASK)), "0000005");
}

TEST(DecodeUsernameTest, DecodesTheProgramAlphabetAsUtf8) {
    const struct {
        const char *encoded, *name;
    } cases[] = {
        {"YWxpY2U=", "alice"},
        {"Wm-Dqw==", "Zo\xc3\xab"}, // "-" where the standard alphabet has "/"
        {"YWxpY2U", "alice"},       // padding may be missing
        {"", ""},
        {"!!!!", ""},
        {"----", ""}, // FF FF FF is no UTF-8 text: no name
    };
    for (const auto& c : cases)
        EXPECT_EQ(credentials::DecodeUsername(ZrUniString(c.encoded)).AsUtf8(), c.name) << c.encoded;
}

TEST(DecodePasswordTest, ConvertsTheDecodedBytesUpToTheFirstZero) {
    const ZrUniString account("carol");
    ZrCString expected;
    credentials::ConvertPassword("secret", account, expected);
    // "c2VjcmV0" is "secret"; "c2VjcmV0AHh5" is "secret" NUL "xy".
    EXPECT_EQ(credentials::DecodePassword(ZrUniString("c2VjcmV0"), account).AsUtf8(), expected.c_str());
    EXPECT_EQ(credentials::DecodePassword(ZrUniString("c2VjcmV0AHh5"), account).AsUtf8(), expected.c_str());

    ZrCString empty;
    credentials::ConvertPassword("", account, empty);
    EXPECT_EQ(credentials::DecodePassword(ZrUniString("%%%"), account).AsUtf8(), empty.c_str());
}

TEST(ResolveUserNameTest, AppliesTheOverrideRule) {
    ZrUniString name;
    ASSERT_TRUE(credentials::ResolveUserName(ZrUniString(), 0, name));
    const ZrUniString rootName = name;
    EXPECT_FALSE(rootName.IsEmpty());

    // The superuser may name any user, even one without an account.
    ASSERT_TRUE(credentials::ResolveUserName(ZrUniString("someone-else"), 0, name));
    EXPECT_EQ(name, ZrUniString("someone-else"));

    // Anybody else only their own name.
    const passwd* other = getpwnam("daemon");
    if (other != nullptr && other->pw_uid != 0) {
        ASSERT_TRUE(credentials::ResolveUserName(ZrUniString("daemon"), other->pw_uid, name));
        EXPECT_EQ(name, ZrUniString("daemon"));
        EXPECT_FALSE(credentials::ResolveUserName(rootName, other->pw_uid, name));
    }

    // No entry for the effective user: no name, with or without an override.
    EXPECT_FALSE(credentials::ResolveUserName(ZrUniString(), 4000000000u, name));
    EXPECT_FALSE(credentials::ResolveUserName(ZrUniString("ghost"), 4000000000u, name));
}

TEST(UserNameDeathTest, IsWorkedOutOnceAndThenKept) {
    // In a child process, since the saved name lives for the whole process.
    EXPECT_EXIT(
        {
            ZrUniString expected;
            if (!credentials::ResolveUserName(ZrUniString(), static_cast<uint32_t>(geteuid()), expected))
                std::exit(2);
            const ZrUniString& first = credentials::UserName(ZrUniString());
            const ZrUniString& second = credentials::UserName(ZrUniString("another-user"));
            std::exit(first == expected && &first == &second ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

// Through ExitBadUser: its line and status.
TEST(UserNameDeathTest, ForeignOverrideEndsTheProcess) {
    EXPECT_EXIT(
        {
            // As the superuser, step down first: only the superuser may take another name. The exit
            // handler registered here runs before the leak checker's and gives it back its rights.
            if (geteuid() == 0) {
                std::atexit([] {
                    // Changing identity also made the process undumpable, which keeps the leak
                    // checker from inspecting it.
                    if (seteuid(0) != 0 || prctl(PR_SET_DUMPABLE, 1) != 0)
                        std::_Exit(8);
                });
                if (seteuid(1) != 0)
                    std::exit(9);
            }
            credentials::UserName(ZrUniString("not-the-current-user"));
            std::exit(0);
        },
        ::testing::ExitedWithCode(3), "^Failed to work out the current user\n$");
}

} // namespace
