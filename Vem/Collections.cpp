#include <Vem/IteratorInvalidated.h>

namespace Vem {

void throwHashMap2018IteratorInvalidated() {
  throw IteratorInvalidated(
      "Vem/HashMap2018: iterator invalidated: the map was resized, replaced or moved from since the iterator "
      "last stepped");
}

void throwRbTreeMapEntryErased() {
  throw IteratorInvalidated("Vem/RbTreeMap: iterator's current entry was erased; only key() and next() remain");
}

}  // namespace Vem
