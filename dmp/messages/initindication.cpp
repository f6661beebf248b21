#include "dmp/messages/initindication.h"

#include "dmp/messages/t50string.h"

#include <algorithm>

namespace wex::common::dmp {

namespace {
constexpr size_t kMaxCount = 0xFFFF;
}

InitIndication::InitIndication(encoding::LEDecodingBufferStream& stream) {
    stream.Read(m_major);
    stream.Read(m_minor);
    unsigned short count = 0;
    stream.Read(count);
    for (unsigned short i = 0; i < count; ++i) {
        T50Text name;
        ReadT50Text16(stream, name);
        unsigned short valueCount = 0;
        stream.Read(valueCount);
        _ServiceInfoInt service{name.Str(), std::vector<unsigned char>(valueCount)};
        stream.Read(buffer::Buffer(service.values.data(), valueCount));
        m_services.push_back(std::move(service));
    }
}

void InitIndication::AddService(const std::string& name, const std::vector<unsigned char>& values) {
    _ServiceInfoInt service;
    service.name = name.substr(0, kMaxCount);
    service.values.assign(values.begin(),
                          values.begin() + static_cast<std::ptrdiff_t>(std::min(values.size(), kMaxCount)));
    m_services.push_back(std::move(service));
}

uint64_t InitIndication::size() const {
    uint64_t total = 4;
    for (const _ServiceInfoInt& service : m_services)
        total += 4 + service.name.size() + service.values.size();
    return total;
}

void InitIndication::Serialize(encoding::LEEncodingBufferStream& stream) const {
    stream.Write(m_major);
    stream.Write(m_minor);
    stream.Write(static_cast<unsigned short>(m_services.size()));
    for (const _ServiceInfoInt& service : m_services) {
        WriteT50String16(stream, service.name);
        stream.Write(static_cast<unsigned short>(service.values.size()));
        stream.Write(buffer::Buffer(service.values.data(), service.values.size()));
    }
}

} // namespace wex::common::dmp
