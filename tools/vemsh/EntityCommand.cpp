#include "EntityCommand.h"

#include "Commands.h"

#include <Lumo/Publisher.h>
#include <Vem/Reflect.h>
#include <Vem/TextForm.h>

#include <string>

namespace vemsh {

namespace {

using Vem::AnyValue;
using Vem::GenericEntity;
using Vem::TypeHandle;

// Prints each announcement as it happens: the attribute, then its key and old value where there are.
class AnnouncementPrinter : public Lumo::Subscriber {
 public:
  AnnouncementPrinter(std::ostream& out, const GenericEntity& e) : out_(out), entity_(e) {
    entity_.entity()->publisher().subscriberAdd(this);
  }
  ~AnnouncementPrinter() override { entity_.entity()->publisher().subscriberDel(this); }

  void onChange(Lumo::AttributeId id, const void* key, const void* old) override {
    Vem::VemType t = entity_.type();
    const Vem::MemberRecord* m = t.memberById(id);
    out_ << "  announced " << (m ? std::string(t.memberName(*m)) : "?") << " (" << id << ")";
    if (m && key) out_ << " key " << text(entity_.keyType(*m), key);
    if (m && old) {
      bool set = (m->flagsB & Vem::MemberFlagsB::set) != 0;
      out_ << " old " << text(set ? TypeHandle::builtin(Vem::BuiltinType::boolean) : entity_.valueType(*m), old);
    } else {
      out_ << " (new)";
    }
    out_ << "\n";
  }

 private:
  static std::string text(const TypeHandle& type, const void* value) {
    return type.valid() ? type.methods()->strRep(value, type.type(), 0).stdString() : "?";
  }
  std::ostream& out_;
  const GenericEntity& entity_;
};

AnyValue parse(const TypeHandle& type, std::string_view text) {
  try {
    return AnyValue(type, text);
  } catch (const Vem::RangeException& e) {
    throw UserError(std::string(type.name()) + ": " + e.what());
  }
}

}  // namespace

void runEntity(std::ostream& out, std::span<const std::string_view> args) {
  if (args.size() < 2) throw UserError("entity needs TYPE NAME and operations");
  GenericEntity e = [&] {
    try {
      return GenericEntity::create(args[0], Lumo::String(args[1]));
    } catch (const std::exception& err) {
      throw UserError(err.what());
    }
  }();
  out << "created " << e.type().name() << " " << e.name() << "\n";
  AnnouncementPrinter printer(out, e);
  auto need = [&](std::size_t i, std::size_t n, std::string_view op) {
    if (i + n >= args.size()) throw UserError(std::string(op) + " needs " + std::to_string(n) + " argument(s)");
  };
  for (std::size_t i = 2; i < args.size();) {
    std::string_view op = args[i];
    try {
      if (op == "get") {
        need(i, 1, op);
        Lumo::String value = e.get(args[i + 1]).text();
        out << args[i + 1] << " = " << value << "\n";
        i += 2;
      } else if (op == "set") {
        need(i, 2, op);
        const auto& m = e.member(args[i + 1]);
        e.set(args[i + 1], parse(e.valueType(m), args[i + 2]));
        out << "set " << args[i + 1] << "\n";
        i += 3;
      } else if (op == "put") {
        need(i, 3, op);
        const auto& m = e.member(args[i + 1]);
        e.set(args[i + 1], parse(e.keyType(m), args[i + 2]), parse(e.valueType(m), args[i + 3]));
        out << "put " << args[i + 1] << "\n";
        i += 4;
      } else if (op == "add") {
        need(i, 2, op);
        const auto& m = e.member(args[i + 1]);
        e.create(args[i + 1], parse(e.keyType(m), args[i + 2]));
        out << "added to " << args[i + 1] << "\n";
        i += 3;
      } else if (op == "del") {
        need(i, 2, op);
        const auto& m = e.member(args[i + 1]);
        AnyValue removed = e.del(args[i + 1], parse(e.keyType(m), args[i + 2]));
        out << "deleted from " << args[i + 1] << ": " << removed.text() << "\n";
        i += 3;
      } else if (op == "ls") {
        need(i, 1, op);
        out << args[i + 1] << " (" << e.count(args[i + 1]) << "):\n";
        e.forEach(args[i + 1], [&](const AnyValue& k, const AnyValue& v) { out << "  " << k.text() << " -> " << v.text() << "\n"; });
        i += 2;
      } else if (op == "count") {
        need(i, 1, op);
        out << args[i + 1] << " has " << e.count(args[i + 1]) << " entries\n";
        i += 2;
      } else {
        throw UserError("unknown operation '" + std::string(op) + "' (get, set, put, add, del, ls, count)");
      }
    } catch (const Vem::ReflectError& err) {
      throw UserError(err.what());
    } catch (const Vem::EntityError& err) {
      throw UserError(err.what());
    }
  }
}

}  // namespace vemsh
