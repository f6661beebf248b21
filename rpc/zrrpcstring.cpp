#include "rpc/zrrpcstring.h"

#include "foundation/codeset/zrconverter.h"
#include "rpc/zrxdr.h"

namespace {

// Both field types are an XDR opaque on the wire; they differ in what they keep of it.
bool ReadOpaque(const unsigned char*& data, unsigned long& remaining, ZrByteBuffer& bytes) {
    const unsigned char* start;
    uint32_t length;
    if (!zrxdr::GetOpaque(data, remaining, start, length))
        return false;
    bytes = ZrByteBuffer(start, length);
    return true;
}

void PackOpaque(unsigned char*& out, const ZrByteBuffer& bytes) {
    zrxdr::PutOpaque(out, bytes.Data(), static_cast<uint32_t>(bytes.Length()));
}

} // namespace

unsigned ZrRPCString::rpcenc = kZrEncodingUtf8;
unsigned ZrRPCString::rpcopt = kZrEncOptionRecoverable;

void ZrRPCString::Set(const ZrUniString& text) {
    m_text = text;
    m_bytesCodeset = ~0u;
    Changed();
}

const ZrByteBuffer& ZrRPCString::Bytes() const {
    if (m_bytesCodeset != rpcenc) {
        m_bytes = m_text.AsEncoding(rpcenc, rpcopt);
        m_bytesCodeset = rpcenc;
    }
    return m_bytes;
}

bool ZrRPCString::Read(const unsigned char*& data, unsigned long& remaining) {
    if (!ReadOpaque(data, remaining, m_bytes))
        return ReadDone(false);
    m_bytesCodeset = rpcenc;
    // Recoverable by default: a byte the codeset cannot take is replaced, the record still reads.
    (void)m_text.CreateFrom(m_bytes.Data(), m_bytes.Length(), rpcenc, rpcopt);
    return ReadDone(true);
}

unsigned long ZrRPCString::PackedSize() const {
    return zrxdr::OpaqueSize(Bytes().Length());
}

void ZrRPCString::PackTo(unsigned char*& out) const {
    PackOpaque(out, Bytes());
}

ZrUniString ZrRPCString::DebugString(unsigned indent) const {
    ZrUniString text;
    DebugLine(text, indent, "string", m_text);
    return text;
}

void ZrRPCByteBuffer::Set(const ZrByteBuffer& bytes) {
    m_bytes = bytes;
    Changed();
}

bool ZrRPCByteBuffer::Read(const unsigned char*& data, unsigned long& remaining) {
    return ReadDone(ReadOpaque(data, remaining, m_bytes));
}

unsigned long ZrRPCByteBuffer::PackedSize() const {
    return zrxdr::OpaqueSize(m_bytes.Length());
}

void ZrRPCByteBuffer::PackTo(unsigned char*& out) const {
    PackOpaque(out, m_bytes);
}

ZrUniString ZrRPCByteBuffer::DebugString(unsigned indent) const {
    ZrUniString text;
    DebugLine(text, indent, "opaque bytes", m_bytes.Length());
    return text;
}
