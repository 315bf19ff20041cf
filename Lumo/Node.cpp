#include <Lumo/Node.h>

namespace Lumo {

Node::~Node() = default;

void Node::lastUserGone() { delete this; }

}  // namespace Lumo
