#include "rpc/zrpacket.h"

#include <cstdio>
#include <cstring>

ZrPacket::ZrPacket(const void* data, unsigned long length)
    : m_packet(data, length), m_current(true), m_valid(true) {}

void ZrPacket::Pack() {
    // A raw record is its bytes; only derived records have fields to lay out.
    if (m_current)
        return;
    EnsurePacked();
}

void ZrPacket::EnsurePacked() const {
    if (m_current)
        return;
    unsigned long size = PackedSize();
    if (m_packet.ShareCount() == 1) {
        // Nobody else sees these bytes: repack in place and keep the allocation.
        m_packet.SetLength(size);
        unsigned char* out = m_packet.MutableData();
        PackTo(out);
    } else {
        ZrByteBuffer fresh;
        fresh.SetLength(size);
        unsigned char* out = fresh.MutableData();
        PackTo(out);
        m_packet = std::move(fresh);
    }
    m_current = true;
}

void ZrPacket::PackTo(unsigned char*& out) const {
    if (m_packet.Length())
        std::memcpy(out, m_packet.Data(), m_packet.Length());
    out += m_packet.Length();
}

bool ZrPacket::Read(const unsigned char*& data, unsigned long& remaining) {
    return Read(data, remaining, remaining);
}

bool ZrPacket::Read(const unsigned char*& data, unsigned long& remaining, unsigned long length) {
    if (remaining < length)
        return ReadDone(false);
    m_packet = ZrByteBuffer(data, length);
    data += length;
    remaining -= length;
    ReadDone(true);
    m_current = true;
    return true;
}

const unsigned char* ZrPacket::Where() const {
    EnsurePacked();
    return m_packet.Data();
}

unsigned long ZrPacket::HowBig() const {
    EnsurePacked();
    return static_cast<unsigned long>(m_packet.Length());
}

const ZrByteBuffer& ZrPacket::Packed() const {
    EnsurePacked();
    return m_packet;
}

bool ZrPacket::ReadDone(bool ok) {
    m_valid = ok;
    if (ok)
        Changed();
    return ok;
}

ZrUniString ZrPacket::DebugString(unsigned indent) const {
    ZrUniString text;
    DebugLine(text, indent, "bytes", PackedSize());
    return text;
}

void ZrPacket::DebugIndent(ZrUniString& text, unsigned indent) {
    for (unsigned i = 0; i < indent; ++i)
        text.Append(u' ').Append(u' ');
}

void ZrPacket::DebugOutUint(ZrUniString& text, unsigned long long value) {
    char digits[24];
    std::snprintf(digits, sizeof digits, "%llu", value);
    text.Append(ZrUniString(digits));
}

void ZrPacket::DebugOutBool(ZrUniString& text, bool value) {
    text.Append(ZrUniString(value ? "true" : "false"));
}

void ZrPacket::DebugLine(ZrUniString& text, unsigned indent, const char* name, unsigned long long value) {
    DebugIndent(text, indent);
    text.Append(ZrUniString(name)).Append(ZrUniString(": "));
    DebugOutUint(text, value);
    text.Append(u'\n');
}

void ZrPacket::DebugLine(ZrUniString& text, unsigned indent, const char* name, const ZrUniString& value) {
    DebugIndent(text, indent);
    text.Append(ZrUniString(name)).Append(ZrUniString(": \"")).Append(value).Append(u'"').Append(u'\n');
}

// Not called by the agent; these four bit accessors are kept for records with bit fields.
uint32_t ZrPacket::BitGetnetwork(const unsigned char* data, unsigned first, unsigned count) {
    uint32_t value = 0;
    for (unsigned i = first; i < first + count; ++i)
        value = value << 1 | ((data[i / 8] >> (7 - i % 8)) & 1u);
    return value;
}

void ZrPacket::BitSetnetwork(unsigned char* data, unsigned first, unsigned count, uint32_t value) {
    for (unsigned i = 0; i < count; ++i) {
        unsigned bit = first + count - 1 - i;
        unsigned char mask = static_cast<unsigned char>(1u << (7 - bit % 8));
        data[bit / 8] =
            static_cast<unsigned char>((value >> i & 1u) ? data[bit / 8] | mask : data[bit / 8] & ~mask);
    }
}

uint32_t ZrPacket::BitGetintel(const unsigned char* data, unsigned first, unsigned count) {
    uint32_t value = 0;
    for (unsigned i = 0; i < count; ++i) {
        unsigned bit = first + i;
        value |= uint32_t((data[bit / 8] >> (bit % 8)) & 1u) << i;
    }
    return value;
}

void ZrPacket::BitSetintel(unsigned char* data, unsigned first, unsigned count, uint32_t value) {
    for (unsigned i = 0; i < count; ++i) {
        unsigned bit = first + i;
        unsigned char mask = static_cast<unsigned char>(1u << (bit % 8));
        data[bit / 8] =
            static_cast<unsigned char>((value >> i & 1u) ? data[bit / 8] | mask : data[bit / 8] & ~mask);
    }
}
