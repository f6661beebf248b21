#include "dmp/messages/init.h"

namespace wex::common::dmp {

Init::Init(encoding::LEDecodingBufferStream& stream) {
    stream.Read(m_major);
    stream.Read(m_minor);
}

void Init::Serialize(encoding::LEEncodingBufferStream& stream) const {
    stream.Write(m_major);
    stream.Write(m_minor);
}

} // namespace wex::common::dmp
