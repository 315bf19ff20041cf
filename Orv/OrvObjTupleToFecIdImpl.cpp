#include <Orv/OrvObjTupleToFecId.h>

#include <string>

namespace Orv {

namespace {
constexpr uint32_t keyField = 2;    // the object tuple, as its own length-delimited message
constexpr uint32_t fecIdField = 3;  // the FEC id, a varint

[[noreturn]] void wrongWireType(uint32_t field, const char* expected, std::size_t offset) {
  throw Lumo::Pb::DecodeError("protobuf: Orv::ObjTupleAndFecId field " + std::to_string(field) + " is not " + expected +
                              " at offset " + std::to_string(offset));
}
}  // namespace

void ObjTupleAndFecId::writeMessage(Lumo::Pb::Writer& out) const {
  out.tag(keyField, Lumo::Pb::WireType::lengthDelimited);
  out.varint(key_.messageSize());
  key_.writeMessage(out);
  out.fieldVarint(fecIdField, fecId_.value());
}

void ObjTupleAndFecId::writePbMessage(Lumo::Pb::Writer& out) const {
  const std::size_t size = 1 + Lumo::Pb::Writer::varintSize(key_.messageSize()) + key_.messageSize() + 1 +
                           Lumo::Pb::Writer::varintSize(fecId_.value());
  out.varint(size);
  writeMessage(out);
}

void ObjTupleAndFecId::readMessageField(Lumo::Pb::Reader& in, uint32_t field, Lumo::Pb::WireType type) {
  switch (field) {
    case keyField:
      if (type != Lumo::Pb::WireType::lengthDelimited) wrongWireType(field, "length-delimited", in.offset());
      key_ = L2Rib::ObjTuple::readMessage(in.bytes());
      return;
    case fecIdField:
      if (type != Lumo::Pb::WireType::varint) wrongWireType(field, "a varint", in.offset());
      fecId_ = Drove::Fib::FecId(in.varint());
      return;
    default:
      in.skip(type);
  }
}

void ObjTupleAndFecId::readMessage(Lumo::Pb::Reader& in) {
  // Read into copies and keep them only once the whole message has parsed: a malformed message
  // changes neither the value nor the reader's position.
  Lumo::Pb::Reader probe = in;
  ObjTupleAndFecId read = *this;
  Lumo::Pb::Reader message(probe.bytes());
  while (!message.atEnd()) {
    const auto [field, type] = message.tag();
    read.readMessageField(message, field, type);
  }
  *this = read;
  in = probe;
}

void ObjTupleAndFecId::constructFromPbMessage(Lumo::Pb::Reader& in) {
  ObjTupleAndFecId read;
  read.readMessage(in);
  *this = read;
}

}  // namespace Orv
