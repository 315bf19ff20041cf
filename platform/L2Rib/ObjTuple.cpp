#include <L2Rib/ObjTuple.h>
#include <Lumo/Pb.h>

namespace L2Rib {

void ObjTuple::writeMessage(Lumo::Pb::Writer& out) const { out.fieldVarint(valueField, value()); }

std::size_t ObjTuple::messageSize() const noexcept { return 1 + Lumo::Pb::Writer::varintSize(value()); }

ObjTuple ObjTuple::readMessage(std::string_view message) {
  Lumo::Pb::Reader in(message);
  uint64_t v = 0;
  while (!in.atEnd()) {
    const auto [field, type] = in.tag();
    if (field != valueField) {
      in.skip(type);
      continue;
    }
    if (type != Lumo::Pb::WireType::varint)
      throw Lumo::Pb::DecodeError("protobuf: L2Rib::ObjTuple field 2 is not a varint at offset " +
                                  std::to_string(in.offset()));
    v = in.varint();
  }
  return ObjTuple(v);
}

}  // namespace L2Rib
