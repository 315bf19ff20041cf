#include <Vem/NboAttrLog.h>

namespace Vem::NboAttrLog {

void RefuseTruncatedRecord::refuse(std::size_t offset, std::size_t wanted, std::size_t size) {
  throw RangeException("attribute log: record truncated: wanted " + std::to_string(wanted) + " bytes at offset " +
                       std::to_string(offset) + " of " + std::to_string(size));
}

void In::refuseBoolByte() { throw RangeException("attribute log: bool byte is neither 0 nor 1"); }

void In::refuseEnumCode() { throw RangeException("attribute log: enumeration code out of range"); }

void In::refuseBytesPastValue() const {
  throw RangeException("attribute log: " + std::to_string(remaining()) + " bytes past the value");
}

}  // namespace Vem::NboAttrLog

namespace Vem {

void failWithAttrLogValueCollectionDefaultKey() {
  throw RangeException("attribute log: a value's collection holds the default key, which would end it");
}

void failWithAttrLogValueCollectionDuplicateKey() {
  throw RangeException("attribute log: a value's collection repeats a key");
}

}  // namespace Vem
