// L2Rib::ObjTuple: the 64-bit handle of an object in the L2 routing information base. Held as 8 bytes;
// text, ordering, hash and log form are those of a 64-bit number (Pelix::IntegerValue).
//
// Protocol-buffer form, the tuple's own message:
//   field 2, varint: the 64-bit value.
// writeMessage writes it (tag byte 16, then the varint); readMessage reads a message's bytes, skips
// unknown fields by their wire type, and refuses field 2 with another wire type with Lumo::Pb::DecodeError.
// A message without field 2 is the tuple 0.
#pragma once

#include <Pelix/IntegerValue.h>

#include <string_view>

namespace Lumo::Pb {
class Writer;
}

namespace L2Rib {

class ObjTuple : public Pelix::IntegerValue<Pelix::NumberTraits<uint64_t, "L2Rib::ObjTuple">> {
 public:
  static constexpr uint32_t valueField = 2;

  using IntegerValue::IntegerValue;

  // Appends the message (without a length prefix) to `out`.
  void writeMessage(Lumo::Pb::Writer& out) const;
  // The size in bytes of what writeMessage writes.
  std::size_t messageSize() const noexcept;
  // Reads a whole message.
  static ObjTuple readMessage(std::string_view message);
};

}  // namespace L2Rib
