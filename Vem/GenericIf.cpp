#include <Vem/GenericIf.h>

#include <cassert>

namespace Vem {

void throwTypeException(const VemType& to, const VemType& from) {
  throw TypeException("Vem type error: " + std::string(from.name()) + " is not a " + std::string(to.name()));
}

namespace GenericIfImpl {

void* genericIfVoidPtrIs(void* pointer, const VemType& toType, const VemType& fromType) {
  if (toType == fromType) return pointer;
  if (!fromType.isDerivedFrom(toType)) throwTypeException(toType, fromType);
  if (fromType.isPolymorphic() == toType.isPolymorphic()) return pointer;
  // Only a polymorphic type seen as a plain base is ever asked for.
  assert(fromType.isPolymorphic() && "Vem/GenericIfImpl: fromType.isPolymorphic()");
  assert(!toType.isPolymorphic() && "Vem/GenericIfImpl: !toType.isPolymorphic()");
  return static_cast<char*>(pointer) + sizeof(void*);
}

const ValueMethodsTable* builtinMethods(int16_t code) noexcept {
  switch (code) {
    case BuiltinType::u8: return &GenericIfValueMethods<uint8_t>::table;
    case BuiltinType::u16: return &GenericIfValueMethods<uint16_t>::table;
    case BuiltinType::u32: return &GenericIfValueMethods<uint32_t>::table;
    case BuiltinType::s32: return &GenericIfValueMethods<int32_t>::table;
    case BuiltinType::u64: return &GenericIfValueMethods<uint64_t>::table;
    case BuiltinType::boolean: return &GenericIfValueMethods<bool>::table;
    case BuiltinType::string: return &GenericIfValueMethods<Lumo::String>::table;
    case BuiltinType::seconds: return &GenericIfValueMethods<double>::table;
    default: return nullptr;
  }
}

}  // namespace GenericIfImpl
}  // namespace Vem
