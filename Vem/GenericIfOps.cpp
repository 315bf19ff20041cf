#include <Vem/GenericIfOps.h>

namespace Vem::GenericIfImpl {

void iterObj(AttributeId, void* iterator, void* destination) { static_cast<GenericIterator*>(iterator)->obj(destination); }
void iterKey(AttributeId, void* iterator, void* destination) { static_cast<GenericIterator*>(iterator)->key(destination); }
bool iterNonnull(AttributeId, void* iterator) { return static_cast<GenericIterator*>(iterator)->nonnull(); }
void iterInc(AttributeId, void* iterator) { static_cast<GenericIterator*>(iterator)->inc(); }
void iterDel(AttributeId, void* iterator) { delete static_cast<GenericIterator*>(iterator); }

const IteratorOps kIteratorOps{&iterObj, &iterKey, &iterNonnull, &iterInc, &iterDel};

}  // namespace Vem::GenericIfImpl
