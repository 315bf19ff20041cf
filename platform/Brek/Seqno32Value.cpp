#include <Brek/Seqno32Value.h>
#include <Pelix/IntegerValue.h>
#include <Vem/CharRange.h>
#include <Vem/NboAttrLog.h>

#include <string>

namespace Brek {

bool sequenceToValue(Vem::CharRange& text, Seqno32* value) {
  *value = Seqno32(static_cast<uint32_t>(Pelix::parseDecimal(text, 0xffffffffu, "Brek::Seqno32")));
  return true;
}

Lumo::String stringValue(Seqno32 value) { return Lumo::String(std::to_string(value.value())); }

}  // namespace Brek

void Vem::LogTraits<Brek::Seqno32>::write(NboAttrLog::Out& out, const Brek::Seqno32& v) { out.u32(v.value()); }

void Vem::LogTraits<Brek::Seqno32>::read(NboAttrLog::In& in, Brek::Seqno32& v) { v = Brek::Seqno32(in.u32()); }
