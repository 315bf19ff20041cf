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

}  // namespace GenericIfImpl
}  // namespace Vem
