#include <Lumo/Node.h>
#include <Lumo/Ptr.h>

#include <gtest/gtest.h>

#include <new>
#include <set>

namespace {

using Lumo::Node;
using Lumo::Ptr;

struct Base : Node {
  int value = 0;
};
struct Derived : Base {
  explicit Derived(int v) { value = v; }
};

TEST(Ptr, CreationAdoptsButExplicitConstructionAddsAUser) {
  Ptr<Base> p = Lumo::newNode<Base>();
  EXPECT_EQ(p->useCount(), 1u);
  Ptr<Base> fromRaw(p.get());
  EXPECT_EQ(p->useCount(), 2u);
  Base* raw = fromRaw.release();
  EXPECT_EQ(fromRaw, nullptr);
  EXPECT_EQ(p->useCount(), 2u);
  Ptr<Base> adopted = Ptr<Base>::adopt(raw);
  EXPECT_EQ(p->useCount(), 2u);
  adopted.reset();
  EXPECT_EQ(p->useCount(), 1u);
}

TEST(Ptr, CopiesCountAndMovesDoNot) {
  Ptr<Derived> d = Lumo::newNode<Derived>(7);
  Ptr<Base> b = d;  // converting copy
  EXPECT_EQ(d->useCount(), 2u);
  Ptr<const Base> c = std::move(b);  // converting move
  EXPECT_FALSE(b);
  EXPECT_EQ(d->useCount(), 2u);
  EXPECT_EQ(c->value, 7);
  Ptr<Derived> d2(std::move(d));
  EXPECT_EQ(d2->useCount(), 2u);
  Ptr<Derived> d3;
  d3 = d2;
  EXPECT_EQ(d3->useCount(), 3u);
  d3 = std::move(d2);
  EXPECT_EQ(d3->useCount(), 2u);
  EXPECT_EQ(c, d3);
  auto back = Lumo::ptrCast<const Derived>(c);
  EXPECT_EQ(back->useCount(), 3u);
  EXPECT_EQ(back->value, 7);
}

TEST(Ptr, AssigningFromItselfOrFromAPointerOwnedByTheTarget) {
  Ptr<Base> p = Lumo::newNode<Base>();
  Ptr<Base>& alias = p;
  p = alias;
  EXPECT_EQ(p->useCount(), 1u);
  p = std::move(alias);
  ASSERT_TRUE(p);
  EXPECT_EQ(p->useCount(), 1u);

  // The new value is kept alive only through the old one: it must be taken before the old is dropped.
  struct Holder : Node {
    Ptr<Holder> next;
  };
  Ptr<Holder> head = Lumo::newNode<Holder>();
  head->next = Lumo::newNode<Holder>();
  head = head->next;
  EXPECT_EQ(head->useCount(), 1u);
  EXPECT_FALSE(head->next);
}

TEST(Ptr, ComparesByAddress) {
  Ptr<Base> a = Lumo::newNode<Base>(), b = Lumo::newNode<Base>();
  std::set<Ptr<Base>> ordered{a, b, a};
  EXPECT_EQ(ordered.size(), 2u);
  EXPECT_EQ(a < b, a.get() < b.get());
  EXPECT_TRUE(Ptr<Base>() == nullptr && nullptr != a);
}

struct Counted : Node {
  static inline int allocations = 0;
  static void* operator new(std::size_t n) {
    ++allocations;
    return ::operator new(n);
  }
  static void operator delete(void* p) { ::operator delete(p); }
};

TEST(Ptr, NewNodeUsesTheClassAllocator) {
  Counted::allocations = 0;
  { auto p = Lumo::newNode<Counted>(); }
  EXPECT_EQ(Counted::allocations, 1);
}

}  // namespace
