// XDR field types: ZrRPCString (a text sent in the codeset ZrRPCString::rpcenc) and ZrRPCByteBuffer
// (variable-length opaque data). Both are values and both are an XDR opaque on the wire, which
// ZrRPCOpaque reads and packs; reading fails only on a shortage.
#pragma once

#include "rpc/zrpacket.h"

// The opaque wire form shared by the two field types; they differ only in what they keep of it.
class ZrRPCOpaque : public ZrPacket {
public:
    [[nodiscard]] bool Read(const unsigned char*& data, unsigned long& remaining) override;
    unsigned long PackedSize() const override;
    void PackTo(unsigned char*& out) const override;

protected:
    // The bytes to pack, and what was read.
    virtual const ZrByteBuffer& WireBytes() const = 0;
    virtual void Received(const unsigned char* data, uint32_t length) = 0;
};

class ZrRPCString : public ZrRPCOpaque {
public:
    // The codeset of the bytes on the wire and the conversion options. UTF-8 keeps host names
    // (plain ASCII) byte for byte and never fails to read.
    static unsigned rpcenc;
    static unsigned rpcopt;

    ZrRPCString() = default;
    ZrRPCString(const ZrUniString& text) { Set(text); }
    explicit ZrRPCString(const ZrPacket& packet) { ReadFromPacket(packet); }
    ZrRPCString(const unsigned char*& data, unsigned long& remaining) { ReadFromBytes(data, remaining); }

    void Set(const ZrUniString& text);
    const ZrUniString& Text() const { return m_text; }
    ZrUniString DebugString(unsigned indent) const override;
    bool operator==(const ZrRPCString& other) const { return m_text == other.m_text; }

private:
    const ZrByteBuffer& WireBytes() const override;
    void Received(const unsigned char* data, uint32_t length) override;

    ZrUniString m_text;
    // The text in rpcenc, kept so that sizing and packing convert once.
    mutable ZrByteBuffer m_bytes;
    mutable unsigned m_bytesCodeset = ~0u;
};

// Not used by the agent; kept beside ZrRPCString as the opaque-data field type of the records.
class ZrRPCByteBuffer : public ZrRPCOpaque {
public:
    ZrRPCByteBuffer() = default;
    ZrRPCByteBuffer(const ZrByteBuffer& bytes) { Set(bytes); }
    explicit ZrRPCByteBuffer(const ZrPacket& packet) { ReadFromPacket(packet); }
    ZrRPCByteBuffer(const unsigned char*& data, unsigned long& remaining) { ReadFromBytes(data, remaining); }

    void Set(const ZrByteBuffer& bytes);
    const ZrByteBuffer& Bytes() const { return m_bytes; }
    ZrUniString DebugString(unsigned indent) const override;
    bool operator==(const ZrRPCByteBuffer& other) const { return m_bytes == other.m_bytes; }

private:
    const ZrByteBuffer& WireBytes() const override { return m_bytes; }
    void Received(const unsigned char* data, uint32_t length) override {
        m_bytes = ZrByteBuffer(data, length);
    }

    ZrByteBuffer m_bytes;
};
