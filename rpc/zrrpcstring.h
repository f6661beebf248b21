// XDR field types: ZrRPCString (a text sent in the codeset ZrRPCString::rpcenc) and ZrRPCByteBuffer
// (variable-length opaque data). Both are values; reading fails only on a shortage.
#pragma once

#include "rpc/zrpacket.h"

class ZrRPCString : public ZrPacket {
public:
    // The codeset of the bytes on the wire and the conversion options. UTF-8 keeps host names
    // (plain ASCII) byte for byte and never fails to read.
    static unsigned rpcenc;
    static unsigned rpcopt;

    ZrRPCString() = default;
    ZrRPCString(const ZrUniString& text) { Set(text); }
    ZrRPCString(const unsigned char*& data, unsigned long& remaining) {
        (void)Read(data, remaining); // the outcome is the valid flag
    }

    void Set(const ZrUniString& text);
    const ZrUniString& Text() const { return m_text; }

    [[nodiscard]] bool Read(const unsigned char*& data, unsigned long& remaining) override;
    unsigned long PackedSize() const override;
    void PackTo(unsigned char*& out) const override;
    ZrUniString DebugString(unsigned indent) const override;

    bool operator==(const ZrRPCString& other) const { return m_text == other.m_text; }
    bool operator!=(const ZrRPCString& other) const { return !(*this == other); }

private:
    const ZrByteBuffer& Bytes() const;

    ZrUniString m_text;
    // The text in rpcenc, kept so that sizing and packing convert once.
    mutable ZrByteBuffer m_bytes;
    mutable unsigned m_bytesCodeset = ~0u;
};

class ZrRPCByteBuffer : public ZrPacket {
public:
    ZrRPCByteBuffer() = default;
    ZrRPCByteBuffer(const ZrByteBuffer& bytes) { Set(bytes); }
    ZrRPCByteBuffer(const unsigned char*& data, unsigned long& remaining) {
        (void)Read(data, remaining); // the outcome is the valid flag
    }

    void Set(const ZrByteBuffer& bytes);
    const ZrByteBuffer& Bytes() const { return m_bytes; }

    [[nodiscard]] bool Read(const unsigned char*& data, unsigned long& remaining) override;
    unsigned long PackedSize() const override;
    void PackTo(unsigned char*& out) const override;
    ZrUniString DebugString(unsigned indent) const override;

    bool operator==(const ZrRPCByteBuffer& other) const { return m_bytes == other.m_bytes; }
    bool operator!=(const ZrRPCByteBuffer& other) const { return !(*this == other); }

private:
    ZrByteBuffer m_bytes;
};
