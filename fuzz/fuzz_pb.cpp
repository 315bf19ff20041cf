// The protocol-buffer reader fed arbitrary bytes. A message is walked field by field, descending into
// length-delimited fields that read as messages; every read stays inside the buffer, and a refused item
// leaves the position where it began. What was read, written again by our writer, reads back as the same
// fields. The first byte picks the reader: the generic walk, L2Rib::ObjTuple's message, or the message
// form of any registered type that has one (found through its methods table, so new ones are covered).
#include "FuzzSupport.h"

#include <L2Rib/ObjTuple.h>
#include <Lumo/Pb.h>
#include <Vem/GenericIf.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Fuzz::check;
using Lumo::Pb::DecodeError;
using Lumo::Pb::Reader;
using Lumo::Pb::WireType;
using Lumo::Pb::Writer;

struct Field {
  uint32_t number;
  WireType type;
  uint64_t scalar = 0;
  std::string bytes;
  bool operator==(const Field&) const = default;
};

// Reads one item, checking the reader's promises about its position either way.
template <class Fn>
bool guarded(Reader& in, std::size_t size, Fn&& read) {
  const std::size_t before = in.offset();
  try {
    read();
  } catch (const DecodeError& e) {
    check(in.offset() == before, std::string("a refused item moved the position: ") + e.what());
    check(std::string_view(e.what()).find("offset") != std::string_view::npos, "a refusal names no offset");
    return false;
  }
  check(in.offset() > before && in.offset() <= size, "a read left the buffer or did not advance");
  check(in.remaining() == size - in.offset(), "remaining and offset disagree");
  return true;
}

// The fields of a message, or false where it is refused.
bool walk(std::string_view message, std::vector<Field>& fields, int depth) {
  Reader in(message);
  while (!in.atEnd()) {
    Field f{};
    if (!guarded(in, message.size(), [&] { std::tie(f.number, f.type) = in.tag(); })) return false;
    check(f.number >= 1 && f.number <= Lumo::Pb::kMaxFieldNumber, "a tag outside the field numbers");
    bool ok = false;
    switch (f.type) {
      case WireType::varint:
        ok = guarded(in, message.size(), [&] { f.scalar = in.varint(); });
        check(Lumo::Pb::zigzagEncode64(Lumo::Pb::zigzagDecode64(f.scalar)) == f.scalar, "zigzag does not invert");
        break;
      case WireType::fixed32: ok = guarded(in, message.size(), [&] { f.scalar = in.fixed32(); }); break;
      case WireType::fixed64: ok = guarded(in, message.size(), [&] { f.scalar = in.fixed64(); }); break;
      case WireType::lengthDelimited: {
        std::string_view payload;
        ok = guarded(in, message.size(), [&] { payload = in.bytes(); });
        if (ok) {
          check(payload.data() >= message.data() && payload.data() + payload.size() <= message.data() + message.size(),
                "a payload outside the buffer");
          f.bytes = std::string(payload);
          std::vector<Field> inner;
          if (depth < 8) walk(payload, inner, depth + 1);
        }
        break;
      }
    }
    if (!ok) return false;
    fields.push_back(std::move(f));
  }
  return true;
}

void generic(std::string_view message) {
  std::vector<Field> fields;
  // Skipping must move exactly as reading does.
  {
    Reader in(message);
    while (!in.atEnd()) {
      WireType type{};
      if (!guarded(in, message.size(), [&] { type = in.tag().second; })) break;
      if (!guarded(in, message.size(), [&] { in.skip(type); })) break;
    }
  }
  if (!walk(message, fields, 0)) return;
  std::string again;
  Writer out(again);
  for (const Field& f : fields) {
    switch (f.type) {
      case WireType::varint: out.fieldVarint(f.number, f.scalar); break;
      case WireType::fixed32: out.fieldFixed32(f.number, static_cast<uint32_t>(f.scalar)); break;
      case WireType::fixed64: out.fieldFixed64(f.number, f.scalar); break;
      case WireType::lengthDelimited: out.fieldBytes(f.number, f.bytes); break;
    }
  }
  std::vector<Field> back;
  check(walk(again, back, 0) && back == fields, "fields written again read back differently");
  check(again.size() <= message.size(), "the canonical form is longer than a form read");
}

void objTuple(std::string_view message) {
  L2Rib::ObjTuple t;
  try {
    t = L2Rib::ObjTuple::readMessage(message);
  } catch (const DecodeError&) {
    return;
  }
  std::string again;
  Writer out(again);
  t.writeMessage(out);
  check(again.size() == t.messageSize(), "ObjTuple: messageSize differs from what is written");
  check(L2Rib::ObjTuple::readMessage(again) == t, "ObjTuple: its own message reads back differently");
}

const std::vector<Vem::TypeHandle>& messageTypes() {
  static const std::vector<Vem::TypeHandle> all = [] {
    std::vector<Vem::TypeHandle> out;
    for (const Vem::TypeHandle& t : Fuzz::textTypes())
      if (t.methods()->pbMessageSerDes != nullptr) out.push_back(t);
    return out;
  }();
  return all;
}

// A registered type's message form through its methods table: read, write, read again.
void registered(const Vem::TypeHandle& type, std::string_view message) {
  Vem::AnyValue value(type);
  std::string buffer(message);
  try {
    if (!type.methods()->pbMessageSerDes(&buffer, value.data(), true)) return;
  } catch (const std::exception& e) {
    check(*e.what() != '\0', std::string(type.name()) + ": message refused without saying why");
    return;
  }
  std::string written;
  check(type.methods()->pbMessageSerDes(&written, value.data(), false), std::string(type.name()) + ": cannot write");
  Vem::AnyValue back(type);
  check(type.methods()->pbMessageSerDes(&written, back.data(), true), std::string(type.name()) + ": own message refused");
  check(back.text() == value.text(), std::string(type.name()) + ": message reads back differently");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  const std::string_view message(reinterpret_cast<const char*>(data) + 1, size - 1);
  const std::size_t readers = 2 + messageTypes().size();
  const std::size_t pick = data[0] % readers;
  if (pick == 0)
    generic(message);
  else if (pick == 1)
    objTuple(message);
  else
    registered(messageTypes()[pick - 2], message);
  return 0;
}
