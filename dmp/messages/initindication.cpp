#include "dmp/messages/initindication.h"

#include <algorithm>

namespace wex::common::dmp {

namespace {
constexpr size_t kMaxCount = 0xFFFF;
}

void InitIndication::AddService(const std::string& name, const std::vector<unsigned char>& values) {
    _ServiceInfoInt service;
    service.name = name.substr(0, kMaxCount);
    service.values.assign(values.begin(),
                          values.begin() + static_cast<std::ptrdiff_t>(std::min(values.size(), kMaxCount)));
    m_services.push_back(std::move(service));
}

} // namespace wex::common::dmp
