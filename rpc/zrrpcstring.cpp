#include "rpc/zrrpcstring.h"

#include "foundation/codeset/zrconverter.h"
#include "rpc/zrxdr.h"

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
    const unsigned char* bytes;
    uint32_t length;
    if (!zrxdr::GetOpaque(data, remaining, bytes, length))
        return ReadDone(false);
    m_bytes = ZrByteBuffer(bytes, length);
    m_bytesCodeset = rpcenc;
    // Recoverable by default: a byte the codeset cannot take is replaced, the record still reads.
    (void)m_text.CreateFrom(bytes, length, rpcenc, rpcopt);
    return ReadDone(true);
}

unsigned long ZrRPCString::PackedSize() const {
    return zrxdr::OpaqueSize(Bytes().Length());
}

void ZrRPCString::PackTo(unsigned char*& out) const {
    const ZrByteBuffer& bytes = Bytes();
    zrxdr::PutOpaque(out, bytes.Data(), static_cast<uint32_t>(bytes.Length()));
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
    const unsigned char* bytes;
    uint32_t length;
    if (!zrxdr::GetOpaque(data, remaining, bytes, length))
        return ReadDone(false);
    m_bytes = ZrByteBuffer(bytes, length);
    return ReadDone(true);
}

unsigned long ZrRPCByteBuffer::PackedSize() const {
    return zrxdr::OpaqueSize(m_bytes.Length());
}

void ZrRPCByteBuffer::PackTo(unsigned char*& out) const {
    zrxdr::PutOpaque(out, m_bytes.Data(), static_cast<uint32_t>(m_bytes.Length()));
}

ZrUniString ZrRPCByteBuffer::DebugString(unsigned indent) const {
    ZrUniString text;
    DebugLine(text, indent, "opaque bytes", m_bytes.Length());
    return text;
}
