#include "dmp/messages/adddevicereq.h"
#include "dmp/messages/init.h"
#include "dmp/messages/removedevicereq.h"
#include "dmp/messages/t50string.h"
#include "framework/stream/streamexception.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace wex::common::dmp;
using Bytes = std::vector<uint8_t>;

// Lays out wire bytes by hand, little-endian, remembering where every field starts.
class Wire {
public:
    Wire& U8(uint8_t v) { return Field({v}); }
    Wire& U16(uint16_t v) { return Field({uint8_t(v), uint8_t(v >> 8)}); }
    Wire& U32(uint32_t v) { return Field({uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)}); }
    Wire& Raw(const std::string& s) {
        if (!s.empty())
            Field(Bytes(s.begin(), s.end()));
        return *this;
    }
    Wire& T16(const std::string& s) { return U16(uint16_t(s.size())).Raw(s); }
    Wire& T32(const std::string& s) { return U32(uint32_t(s.size())).Raw(s); }

    const Bytes& bytes() const { return m_bytes; }
    // Offsets at which a field begins (a cut there leaves the next read with nothing at all).
    const std::set<size_t>& starts() const { return m_starts; }

private:
    Wire& Field(const Bytes& b) {
        m_starts.insert(m_bytes.size());
        m_bytes.insert(m_bytes.end(), b.begin(), b.end());
        return *this;
    }
    Bytes m_bytes;
    std::set<size_t> m_starts;
};

encoding::LEDecodingBufferStream Reader(const Bytes& b) {
    return encoding::LEDecodingBufferStream(buffer::Buffer(b.data(), b.size()));
}

template <class Message> Bytes Serialised(const Message& message, size_t capacity) {
    Bytes out(capacity);
    encoding::LEEncodingBufferStream stream{buffer::Buffer(out.data(), out.size())};
    message.Serialize(stream);
    out.resize(stream.Position());
    return out;
}

const std::string kPassword("pa\0ss", 5);

// An add-device request with every field distinct, two configuration entries and trailing junk.
Wire FullAddDevice() {
    Wire w;
    w.U8(0).U32(0x9B).U32(0x80000001u).T16("Drive C").T16(":1").U32(0x11111111).U32(0xC0FFEE).U8(0x22);
    w.U32(0x33333333).T16("smb://pc1/C").T32("opaque one").U8(0x44).U32(0x55555555).T16("").T16(kPassword);
    w.U32(0x66666666).U32(0x77777777).U16(0xBEEF).T16("alt").T32(std::string("\x01\x02\x00\x03", 4));
    w.T32("").T16("info").U16(2).U32(0x88888888);
    w.T16("key1").T32("value one").T16("").T32(std::string("\0v", 2));
    return w;
}

// The agent's own announcement is checked byte for byte where the agent sends it (the DMP manager's tests).
TEST(InitTest, VersionBytes) {
    const Bytes wire = Wire().U8(1).U8(3).bytes();
    auto stream = Reader(wire);
    const Init init(stream);
    EXPECT_EQ(init.MajorVersion(), 1);
    EXPECT_EQ(init.MinorVersion(), 3);
    EXPECT_EQ(Serialised(init, 2), wire);
}

TEST(AddDeviceReqTest, ParsesEveryFieldInWireOrder) {
    const Wire wire = FullAddDevice();
    Bytes bytes = wire.bytes();
    bytes.push_back(0xAA); // ignored: nothing reads past the last entry
    auto stream = Reader(bytes);
    const AddDeviceReq req(stream);
    EXPECT_EQ(req.TypeCode(), 0);
    EXPECT_EQ(req.TotalLength(), 0x9Bu);
    EXPECT_EQ(req.DeviceID(), 0x80000001u);
    EXPECT_EQ(req.Chars(), 0xC0FFEEu);
    EXPECT_EQ(req.OptFlags(), 0xBEEF);
    EXPECT_EQ(req.DeviceName() + "|" + req.DisplayName() + "|" + req.Uri() + "|" + req.Username() + "|" +
                  std::string(req.PasswordBytes()) + "|" + req.AltName() + "|" + req.DeviceInfo(),
              "Drive C|:1|smb://pc1/C||" + kPassword + "|alt|info");
    const buffer::Buffer options = req.OptionsDeviceData();
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(options.Data()), options.Length()),
              std::string("\x01\x02\x00\x03", 4));
    ASSERT_EQ(req.ConfigCount(), 2);
    const ConfigEntry* config = req.ConfigurationData();
    ASSERT_NE(config, nullptr);
    EXPECT_EQ(config[0].Key() + "=" + config[0].Value(), "key1=value one");
    EXPECT_EQ(config[1].key.data, nullptr); // nothing allocated for an empty key
    EXPECT_EQ(config[1].Value(), std::string("\0v", 2));
    EXPECT_EQ(stream.Remaining(), 1u);
    // Written back, the same bytes.
    bytes.pop_back();
    EXPECT_EQ(req.size(), bytes.size());
    EXPECT_EQ(Serialised(req, bytes.size()), bytes);
}

TEST(AddDeviceReqTest, EveryTruncationThrowsTheKindOfItsCut) {
    const Wire wire = FullAddDevice();
    const Bytes& full = wire.bytes();
    for (size_t cut = 0; cut < full.size(); ++cut) {
        const Bytes part(full.begin(), full.begin() + static_cast<std::ptrdiff_t>(cut));
        auto stream = Reader(part);
        if (wire.starts().count(cut))
            EXPECT_THROW(AddDeviceReq{stream}, stream::EOSException) << "cut at field start " << cut;
        else
            EXPECT_THROW(AddDeviceReq{stream}, stream::IncompleteReadException)
                << "cut inside a field " << cut;
    }
}

// A short remove request throws like every cut add request. The agent sends no confirmations.
TEST(RemoveDeviceReqTest, ThirteenBytes) {
    const Bytes wire = Wire().U8(2).U32(13).U32(0xFFFFFFFE).U32(0x12345678).bytes();
    auto stream = Reader(wire);
    const RemoveDeviceReq req(stream);
    EXPECT_EQ(req.TypeCode(), 2);
    EXPECT_EQ(req.TotalLength(), 13u);
    EXPECT_EQ(static_cast<int32_t>(req.DeviceID()), -2);
    EXPECT_EQ(Serialised(req, 13), wire);
}

// Texts and raw fields of any width read back, and every cut of them, are checked above; here, a length
// that lies.
TEST(T50StringTest, HostileLengthIsRefusedWithoutAllocating) {
    std::unique_ptr<char[]> text;
    unsigned int length = 0;
    const Bytes hostile = Wire().U32(0xFFFFFFFF).Raw("ab").bytes(); // announces 4 GiB, holds two bytes
    auto stream = Reader(hostile);
    EXPECT_THROW(ParseLengthAndT50String(stream, length, text, true), stream::IncompleteReadException);
}

} // namespace
