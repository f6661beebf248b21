#include "rpc/zrrpcstring.h"

#include "foundation/codeset/zrconverter.h"
#include "rpc/zrxdr.h"

bool ZrRPCOpaque::Read(const unsigned char*& data, unsigned long& remaining) {
    const unsigned char* start;
    uint32_t length;
    if (!zrxdr::GetOpaque(data, remaining, start, length))
        return ReadDone(false);
    Received(start, length);
    return ReadDone(true);
}

unsigned long ZrRPCOpaque::PackedSize() const {
    return zrxdr::OpaqueSize(WireBytes().Length());
}

void ZrRPCOpaque::PackTo(unsigned char*& out) const {
    const ZrByteBuffer& bytes = WireBytes();
    zrxdr::PutOpaque(out, bytes.Data(), static_cast<uint32_t>(bytes.Length()));
}

unsigned ZrRPCString::rpcenc = kZrEncodingUtf8;
unsigned ZrRPCString::rpcopt = kZrEncOptionRecoverable;

void ZrRPCString::Set(const ZrUniString& text) {
    m_text = text;
    m_bytesCodeset = ~0u;
    Changed();
}

const ZrByteBuffer& ZrRPCString::WireBytes() const {
    if (m_bytesCodeset != rpcenc) {
        m_bytes = m_text.AsEncoding(rpcenc, rpcopt);
        m_bytesCodeset = rpcenc;
    }
    return m_bytes;
}

void ZrRPCString::Received(const unsigned char* data, uint32_t length) {
    m_bytes = ZrByteBuffer(data, length);
    m_bytesCodeset = rpcenc;
    // Recoverable by default: a byte the codeset cannot take is replaced, the record still reads.
    (void)m_text.CreateFrom(m_bytes.Data(), m_bytes.Length(), rpcenc, rpcopt);
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

ZrUniString ZrRPCByteBuffer::DebugString(unsigned indent) const {
    ZrUniString text;
    DebugLine(text, indent, "opaque bytes", m_bytes.Length());
    return text;
}
