#include <Vem/NboAttrLog.h>

namespace Vem::NboAttrLog {

void In::truncated(std::size_t wanted) const {
  throw RangeException("attribute log: record truncated: wanted " + std::to_string(wanted) + " bytes at offset " +
                       std::to_string(pos_) + " of " + std::to_string(size_));
}

}  // namespace Vem::NboAttrLog
