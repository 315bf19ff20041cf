#include <Vem/Reflect.h>

#include <Lumo/Descriptors.h>
#include <Vem/GenericIfOps.h>
#include <Vem/Registry.h>

#include <cstring>
#include <new>

namespace Vem {

namespace {

struct BuiltinInfo {
  int16_t code;
  const char* name;
  std::size_t size;
  std::size_t alignment;
};

constexpr BuiltinInfo kBuiltins[] = {
    {BuiltinType::u8, "U8", sizeof(uint8_t), alignof(uint8_t)},
    {BuiltinType::u16, "U16", sizeof(uint16_t), alignof(uint16_t)},
    {BuiltinType::u32, "U32", sizeof(uint32_t), alignof(uint32_t)},
    {BuiltinType::s32, "S32", sizeof(int32_t), alignof(int32_t)},
    {BuiltinType::u64, "U64", sizeof(uint64_t), alignof(uint64_t)},
    {BuiltinType::boolean, "bool", sizeof(bool), alignof(bool)},
    {BuiltinType::string, "Vem::String", sizeof(Lumo::String), alignof(Lumo::String)},
    {BuiltinType::seconds, "Vem::Seconds", sizeof(double), alignof(double)},
};

const BuiltinInfo* builtinInfo(int16_t code) noexcept {
  for (const BuiltinInfo& b : kBuiltins)
    if (b.code == code) return &b;
  return nullptr;
}

}  // namespace

// ---- TypeHandle ----------------------------------------------------------------------------------

TypeHandle TypeHandle::builtin(int16_t code) noexcept {
  TypeHandle h;
  if (builtinInfo(code)) h.builtin_ = code;
  return h;
}

TypeHandle TypeHandle::ofReference(const VemType& within, int16_t typeRef) noexcept {
  if (typeRef < 0) return builtin(typeRef);
  return TypeHandle(within.resolve(typeRef));
}

TypeHandle TypeHandle::byName(std::string_view name) {
  for (const BuiltinInfo& b : kBuiltins)
    if (name == b.name) return builtin(b.code);
  if (auto t = Registry::typeByName(name)) return TypeHandle(*t);
  throw ReflectError("no type named " + std::string(name));
}

std::string_view TypeHandle::name() const noexcept {
  if (type_.valid()) return type_.name();
  const BuiltinInfo* b = builtinInfo(builtin_);
  return b ? b->name : "?";
}

const GenericIfImpl::ValueMethodsTable* TypeHandle::methods() const noexcept {
  if (type_.valid()) return GenericIfImpl::valueMethods(type_);
  return GenericIfImpl::builtinMethods(builtin_);
}

std::size_t TypeHandle::size() const noexcept {
  if (isEntity()) return sizeof(Lumo::Ptr<Entity>);
  if (type_.valid()) return type_.record().size();
  const BuiltinInfo* b = builtinInfo(builtin_);
  return b ? b->size : 0;
}

std::size_t TypeHandle::alignment() const noexcept {
  if (isEntity()) return alignof(Lumo::Ptr<Entity>);
  if (type_.valid()) return type_.record().alignment();
  const BuiltinInfo* b = builtinInfo(builtin_);
  return b ? b->alignment : 1;
}

// ---- AnyValue ------------------------------------------------------------------------------------

AnyValue::AnyValue(const TypeHandle& type) : type_(type) {
  if (!type.valid()) throw ReflectError("no value methods for type " + std::string(type.name()));
  data_ = ::operator new(type.size(), std::align_val_t(type.alignment()));
  type.methods()->construct(data_, nullptr);
}

AnyValue::AnyValue(const TypeHandle& type, std::string_view text) : AnyValue(type) {
  // Constructed by the delegated constructor already: if parsing throws, the destructor frees.
  type_.methods()->strepToValue(data_, Lumo::String(text), type_.type(), 0);
}

AnyValue::AnyValue(const AnyValue& other) : type_(other.type_) {
  data_ = ::operator new(type_.size(), std::align_val_t(type_.alignment()));
  type_.methods()->construct(data_, other.data_);
}

AnyValue& AnyValue::operator=(const AnyValue& other) {
  if (this != &other) {
    AnyValue copy(other);
    std::swap(type_, copy.type_);
    std::swap(data_, copy.data_);
  }
  return *this;
}

AnyValue::~AnyValue() {
  if (data_ == nullptr) return;
  type_.methods()->destruct(data_);
  ::operator delete(data_, std::align_val_t(type_.alignment()));
}

Lumo::String AnyValue::text() const { return type_.methods()->strRep(data_, type_.type(), 0); }

uint32_t AnyValue::hash() const {
  if (type_.methods()->hash == nullptr) throw ReflectError(std::string(type_.name()) + " has no hash");
  return type_.methods()->hash(data_, type_.type());
}

// ---- GenericEntity -------------------------------------------------------------------------------

GenericEntity::GenericEntity(Lumo::Ptr<Entity> entity) : entity_(std::move(entity)) {
  if (!entity_) throw ReflectError("null entity");
}

GenericEntity GenericEntity::create(std::string_view typeName, const Lumo::String& name) {
  auto type = Registry::typeByName(typeName);
  if (!type || !type->isEntity()) throw ReflectError("no entity type named " + std::string(typeName));
  ConstructFromCtorArgsFn make = type->impl().constructFromCtorArgs;
  auto params = type->ctorParams();
  // Built from a name only: the arguments are passed untyped, so their types must be checked here.
  if (make == nullptr || params.size() != 1 || type->paramTypeName(params[0]) != "Vem::String")
    throwNewEntityArgsException(*type);
  alignas(Lumo::Ptr<Entity>) unsigned char storage[sizeof(Lumo::Ptr<Entity>)];
  const void* args[] = {&name};
  make(storage, args);
  auto* made = std::launder(reinterpret_cast<Lumo::Ptr<Entity>*>(storage));
  GenericEntity result(std::move(*made));
  made->~Ptr();
  return result;
}

Lumo::String GenericEntity::name() const {
  const MemberRecord* m = type().memberById(154);
  if (m == nullptr) return {};
  Lumo::String out;
  op(*m, OpCode::nameString, &out, nullptr, nullptr);
  return out;
}

const MemberRecord& GenericEntity::member(std::string_view name) const {
  const MemberRecord* m = type().memberByName(name);
  if (m == nullptr) throw ReflectError(std::string(type().name()) + " has no attribute " + std::string(name));
  return *m;
}

int GenericEntity::op(const MemberRecord& m, uint8_t code, void* result, const void* arg1, const void* arg2) const {
  const VemType t = type();
  const Lumo::FieldDescriptor field = t.fieldOf(m);  // an inherited member is its base's record
  int rc = t.impl().attributeOp(result, entity_.get(), &field, code, arg1, arg2);
  if (rc == ResultCode::notApplicable)
    throw ReflectError("operation " + std::to_string(code) + " does not apply to " + std::string(t.name()) + "::" +
                       std::string(t.declaringType(m).memberName(m)));
  if (rc == ResultCode::noSuchMember)
    throw ReflectError(std::string(t.name()) + " has no member " + std::string(t.declaringType(m).memberName(m)));
  return rc;
}

AnyValue GenericEntity::get(std::string_view attribute) const {
  const MemberRecord& m = member(attribute);
  AnyValue out(valueType(m));
  op(m, OpCode::get, out.data(), nullptr, nullptr);
  return out;
}

void GenericEntity::set(std::string_view attribute, const AnyValue& value) {
  op(member(attribute), OpCode::set, nullptr, value.data(), nullptr);
}

AnyValue GenericEntity::lookup(std::string_view attribute, const AnyValue& key) const {
  const MemberRecord& m = member(attribute);
  AnyValue out((m.flagsB & MemberFlagsB::set) ? TypeHandle::builtin(BuiltinType::boolean) : valueType(m));
  op(m, OpCode::get, out.data(), key.data(), nullptr);
  return out;
}

void GenericEntity::set(std::string_view attribute, const AnyValue& key, const AnyValue& value) {
  op(member(attribute), OpCode::set, nullptr, key.data(), value.data());
}

void GenericEntity::create(std::string_view attribute, const AnyValue& key) {
  op(member(attribute), OpCode::set, nullptr, key.data(), nullptr);
}

AnyValue GenericEntity::del(std::string_view attribute, const AnyValue& key) {
  const MemberRecord& m = member(attribute);
  AnyValue out((m.flagsB & MemberFlagsB::set) ? TypeHandle::builtin(BuiltinType::boolean) : valueType(m));
  op(m, OpCode::del, out.data(), key.data(), nullptr);
  return out;
}

uint32_t GenericEntity::count(std::string_view attribute) const {
  uint32_t n = 0;
  op(member(attribute), OpCode::count, &n, nullptr, nullptr);
  return n;
}

uint32_t GenericEntity::version(std::string_view attribute) const {
  uint32_t v = 0;
  op(member(attribute), OpCode::version, &v, nullptr, nullptr);
  return v;
}

bool GenericEntity::contains(std::string_view attribute, const AnyValue& key) const {
  bool present = false;
  op(member(attribute), OpCode::contains, &present, key.data(), nullptr);
  return present;
}

void GenericEntity::forEach(std::string_view attribute,
                            const std::function<void(const AnyValue& key, const AnyValue& value)>& fn,
                            const AnyValue* startKey) const {
  const MemberRecord& m = member(attribute);
  const VemType t = type();
  if (t.impl().iterator == nullptr || !isCollection(m))
    throw ReflectError(std::string(t.name()) + "::" + std::string(attribute) + " is not a collection");
  const Lumo::FieldDescriptor field = t.fieldOf(m);
  const void* opsRaw = nullptr;
  void* it = t.impl().iterator(entity_.get(), startKey ? startKey->data() : nullptr, &field, &opsRaw);
  if (it == nullptr) throw ReflectError("cannot iterate " + std::string(attribute));
  const auto* ops = static_cast<const GenericIfImpl::IteratorOps*>(opsRaw);
  struct Release {
    const GenericIfImpl::IteratorOps* ops;
    AttributeId id;
    void* it;
    ~Release() { ops->iterDel(id, it); }
  } release{ops, m.attributeId, it};
  AnyValue key(keyType(m));
  AnyValue value((m.flagsB & MemberFlagsB::set) ? TypeHandle::builtin(BuiltinType::boolean) : valueType(m));
  for (; ops->iterNonnull(m.attributeId, it); ops->iterInc(m.attributeId, it)) {
    ops->iterKey(m.attributeId, it, key.data());
    ops->iterObj(m.attributeId, it, value.data());
    fn(key, value);
  }
}

}  // namespace Vem
