#include "RecordDecoder.h"

#include "Commands.h"

#include <Vem/Module.h>
#include <Vem/NboAttrLog.h>
#include <Vem/NboAttrLogSa.h>
#include <Vem/RangeException.h>
#include <Vem/Registry.h>

#include <cstdio>
#include <span>
#include <vector>

namespace vemsh {

namespace {

namespace Frame = Vem::NboAttrLog::Frame;
using Vem::NboAttrLog::In;

uint64_t bigEndian(std::string_view bytes) {
  uint64_t v = 0;
  for (char c : bytes) v = v << 8 | static_cast<uint8_t>(c);
  return v;
}

// One line: the hex of the bytes consumed since `from`, padded, then what they mean.
class FieldWriter {
 public:
  FieldWriter(std::ostream& out, std::string_view payload, std::string_view indent, std::string* brief = nullptr)
      : out_(out), payload_(payload), indent_(indent), brief_(brief) {}
  void line(std::size_t from, std::size_t to, std::string_view meaning) {
    if (brief_ != nullptr) {
      *brief_ += brief_->empty() ? "" : ", ";
      *brief_ += meaning;
      return;
    }
    std::string hex = hexBytes(payload_.substr(from, to - from));
    // Long strings are cut in the hex column; their text stands in full beside it.
    if (hex.size() > 40) hex = hex.substr(0, 36) + "...";
    out_ << indent_ << hex;
    for (std::size_t n = hex.size(); n < 42; ++n) out_ << ' ';
    out_ << meaning << '\n';
  }

 private:
  std::ostream& out_;
  std::string_view payload_;
  std::string_view indent_;
  std::string* brief_;
};

// Reads one value of `type` and writes its line; false when the type has no log form (the rest of the
// payload is then shown undecoded by the caller).
bool field(FieldWriter& w, In& in, const Vem::TypeHandle& type, std::string_view label) {
  const Vem::ValueLogForm* form = logFormOf(type);
  if (form == nullptr) return false;
  Vem::AnyValue v(type);
  const std::size_t from = in.offset();
  form->read(in, v.data());
  w.line(from, in.offset(), std::string(label) + " " + v.text().stdString());
  return true;
}

std::string_view transactionName(uint8_t type) {
  switch (type) {
    case Vem::StreamAdapter::begin: return "begin of a whole-collection pass: every entry marked for deletion";
    case Vem::StreamAdapter::resume: return "the interrupted pass resumes";
    case Vem::StreamAdapter::end: return "end of the pass: entries still marked are deleted";
    default: return "unknown marker type";
  }
}

std::string_view kindName(uint8_t kind) {
  switch (kind) {
    case Frame::attribute: return "attribute";
    case Frame::transaction: return "marker";
    case Frame::newRoot: return "new root";
    default: return "unknown kind";
  }
}

}  // namespace

std::string hexBytes(std::string_view bytes) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string hex;
  hex.reserve(bytes.size() * 2);
  for (char c : bytes) {
    hex += digits[static_cast<uint8_t>(c) >> 4];
    hex += digits[static_cast<uint8_t>(c) & 15];
  }
  return hex;
}

const Vem::ValueLogForm* logFormOf(const Vem::TypeHandle& type) noexcept {
  if (type.isEntity()) return nullptr;
  if (type.type().valid()) return Vem::valueLogForm(type.type());
  // A built-in: find its code by name through the handle.
  static constexpr int16_t builtins[] = {Vem::BuiltinType::u8,      Vem::BuiltinType::u16, Vem::BuiltinType::u32,
                                         Vem::BuiltinType::s32,     Vem::BuiltinType::u64, Vem::BuiltinType::boolean,
                                         Vem::BuiltinType::string,  Vem::BuiltinType::seconds};
  for (int16_t code : builtins)
    if (Vem::TypeHandle::builtin(code).name() == type.name()) return Vem::builtinLogForm(code);
  return nullptr;
}

void describeValueBytes(std::ostream& out, const Vem::TypeHandle& type, const void* value, std::string_view indent) {
  const Vem::ValueLogForm* form = logFormOf(type);
  if (form == nullptr) throw UserError(std::string(type.name()) + " has no attribute-log form");
  std::string bytes;
  Vem::NboAttrLog::Out o(bytes);
  form->write(o, value);
  out << indent << "log form, " << bytes.size() << " bytes: " << hexBytes(bytes) << '\n';
  // The fields of a generated value, each in its own log form and in declaration order; a value with
  // a form of its own (a platform value, an enumeration) is one field.
  const std::string inner = std::string(indent) + "  ";
  FieldWriter w(out, bytes, inner);
  In in(bytes);
  const Vem::VemType t = type.type();
  std::vector<const Vem::MemberRecord*> fields;
  bool split = t.valid() && t.isValue();
  for (const Vem::MemberRecord& m : split ? t.members() : std::span<const Vem::MemberRecord>()) {
    if ((m.flagsB & Vem::MemberFlagsB::storedData) == 0) continue;
    if ((m.flagsA & Vem::MemberFlagsA::collection) != 0 || logFormOf(Vem::TypeHandle::ofReference(t, m.type)) == nullptr)
      split = false;
    fields.push_back(&m);
  }
  if (!split || fields.empty()) {
    w.line(0, bytes.size(), std::string(type.name()));
    return;
  }
  for (const Vem::MemberRecord* m : fields)
    field(w, in, Vem::TypeHandle::ofReference(t, m->type), std::string(t.memberName(*m)) + ":");
  if (!in.atEnd()) w.line(in.offset(), bytes.size(), "(bytes the fields did not account for)");
}

void RecordDecoder::reset() noexcept {
  buffer_.clear();
  types_.clear();
  offset_ = 0;
}

std::size_t RecordDecoder::feed(std::ostream& out, std::string_view bytes, std::string_view indent,
                                const std::function<void(std::string_view record)>& then) {
  buffer_.append(bytes);
  std::size_t records = 0;
  std::size_t head = 0;
  while (buffer_.size() - head >= Frame::kHeaderSize) {
    const std::string_view rest = std::string_view(buffer_).substr(head);
    const uint64_t length = bigEndian(rest.substr(7, 4));
    if (length > Frame::kMaxPayload) {
      out << indent << "offset " << offset_ + head << ": payload length " << length << " is beyond any record; the stream is corrupt\n";
      buffer_.clear();
      offset_ += head;
      return records;
    }
    if (rest.size() < Frame::kHeaderSize + length) break;
    const std::string_view record = rest.substr(0, Frame::kHeaderSize + length);
    writeRecord(out, record, indent);
    head += Frame::kHeaderSize + length;
    ++records;
    if (then) {
      // The receiver may throw; what is consumed stays consumed.
      const std::string copy(record);
      buffer_.erase(0, head);
      offset_ += head;
      head = 0;
      then(copy);
    }
  }
  buffer_.erase(0, head);
  offset_ += head;
  return records;
}

void RecordDecoder::writeRecord(std::ostream& out, std::string_view record, std::string_view indent) {
  const uint32_t entity = static_cast<uint32_t>(bigEndian(record.substr(0, 4)));
  const uint8_t kind = static_cast<uint8_t>(record[4]);
  const uint16_t attribute = static_cast<uint16_t>(bigEndian(record.substr(5, 2)));
  const std::string_view payload = record.substr(Frame::kHeaderSize);

  auto typeIt = types_.find(entity);
  const std::string typeName = typeIt != types_.end() ? std::string(typeIt->second.name()) : "?";
  out << indent << "record: entity " << entity;
  if (kind != Frame::newRoot) out << " (" << typeName << ")";
  out << ", " << kindName(kind) << " record, attribute " << attribute;
  if (typeIt != types_.end() && kind != Frame::newRoot) {
    const Vem::VemType& t = typeIt->second;
    if (const Vem::MemberRecord* m = t.memberById(attribute))
      out << " " << t.memberName(*m);
    else if (const Vem::MemberRecord* d = t.memberById(Vem::NboAttrLog::negated(attribute)))
      out << " (deletion in " << t.memberName(*d) << ")";
  }
  if (brief_) {
    std::string meanings;
    decodePayload(out, entity, kind, attribute, payload, indent, &meanings);
    out << ": " << meanings << '\n';
    return;
  }
  out << ", " << payload.size() << " bytes of payload\n";
  const std::string inner = std::string(indent) + "  ";
  FieldWriter header(out, record, inner);
  header.line(0, 4, "entity id " + std::to_string(entity));
  header.line(4, 5, "kind " + std::to_string(kind) + " (" + std::string(kindName(kind)) + ")");
  header.line(5, 7, "attribute id " + std::to_string(attribute));
  header.line(7, 11, "payload length " + std::to_string(payload.size()));
  decodePayload(out, entity, kind, attribute, payload, inner, nullptr);
}

void RecordDecoder::decodePayload(std::ostream& out, uint32_t entity, uint8_t kind, uint16_t attribute,
                                  std::string_view payload, std::string_view indent, std::string* brief) {
  FieldWriter w(out, payload, indent, brief);
  In in(payload);
  try {
    if (kind == Frame::newRoot) {
      const Lumo::String typeName = in.string();
      w.line(0, in.offset(), "type " + typeName.stdString());
      std::optional<Vem::VemType> type = Vem::Registry::typeByName(typeName.view());
      if (!type) throw Vem::RangeException("no type by that name is loaded here");
      types_[entity] = *type;
      for (const Vem::ParamRecord& p : type->ctorParams())
        if (!field(w, in, Vem::TypeHandle::byName(type->paramTypeName(p)), std::string(type->paramName(p)) + ":")) break;
    } else if (kind == Frame::transaction) {
      const uint8_t type = in.u8();
      w.line(0, 1, std::string(transactionName(type)));
    } else {
      auto typeIt = types_.find(entity);
      if (typeIt == types_.end()) throw Vem::RangeException("an entity id this stream has not introduced");
      const Vem::VemType t = typeIt->second;
      const Vem::MemberRecord* m = t.memberById(attribute);
      const bool deletion = m == nullptr;
      if (deletion) m = t.memberById(Vem::NboAttrLog::negated(attribute));
      if (m == nullptr) throw Vem::RangeException("an attribute the type does not have");
      const Vem::TypeHandle keyType = Vem::TypeHandle::ofReference(t, m->keyType);
      const Vem::TypeHandle valueType = Vem::TypeHandle::ofReference(t, m->type);
      const bool collection = (m->flagsA & Vem::MemberFlagsA::collection) != 0;
      const bool instantiating = (m->flagsA & Vem::MemberFlagsA::instantiating) != 0;
      const bool set = (m->flagsB & Vem::MemberFlagsB::set) != 0;
      if (deletion) {
        field(w, in, keyType, "key (deleted)");
      } else if (instantiating) {
        const std::size_t from = in.offset();
        const uint32_t child = in.u32();
        w.line(from, in.offset(), child != 0 ? "child entity id " + std::to_string(child) : "no child");
        if (child != 0) {
          const uint8_t flags = in.u8();
          std::string meaning = "flags " + std::to_string(flags);
          if (flags & 1) meaning += ", new to this stream: its state follows";
          if (flags & 2) meaning += ", replaced while withheld";
          w.line(in.offset() - 1, in.offset(), meaning);
          types_[child] = valueType.type();
          const Vem::VemType childType = valueType.type();
          if (collection) {
            field(w, in, keyType, "key");
          } else {
            for (const Vem::ParamRecord& p : childType.ctorParams())
              if (!field(w, in, Vem::TypeHandle::byName(childType.paramTypeName(p)), std::string(childType.paramName(p)) + ":")) break;
          }
        }
      } else if (collection && valueType.isEntity()) {
        // A collection of references: the key, then the id of an entity the stream carries.
        if (field(w, in, keyType, "key")) {
          const std::size_t from = in.offset();
          w.line(from, from + 4, "referenced entity id " + std::to_string(in.u32()));
        }
      } else if (collection) {
        if (field(w, in, keyType, "key"))
          field(w, in, set ? Vem::TypeHandle::builtin(Vem::BuiltinType::boolean) : valueType, "value");
      } else {
        field(w, in, valueType, "value");
      }
    }
    if (!in.atEnd()) w.line(in.offset(), payload.size(), "(not decoded)");
  } catch (const std::exception& e) {
    w.line(in.offset(), payload.size(), std::string("(not decoded: ") + e.what() + ")");
  }
}

}  // namespace vemsh
