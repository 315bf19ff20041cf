#pragma once

#include <compare>
#include <cstddef>
#include <functional>
#include <type_traits>
#include <utility>

namespace Lumo {

/// Owning pointer to a Node (or anything with const useCountInc()/useCountDec()): every non-null Ptr
/// is one user. Copies add a user, moves transfer it.
template <class T>
class Ptr {
public:
  Ptr() noexcept = default;
  Ptr(std::nullptr_t) noexcept {}

  /// Adds a user: for making an owner out of `this` or another raw pointer that already has owners.
  explicit Ptr(T* p) noexcept : p_(p) {
    if (p_) p_->useCountInc();
  }

  /// Takes over the user a fresh object was created with, leaving the count as it is.
  static Ptr adopt(T* p) noexcept {
    Ptr r;
    r.p_ = p;
    return r;
  }

  Ptr(const Ptr& o) noexcept : Ptr(o.p_) {}
  Ptr(Ptr&& o) noexcept : p_(o.p_) { o.p_ = nullptr; }
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  Ptr(const Ptr<U>& o) noexcept : Ptr(static_cast<T*>(o.get())) {}
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  Ptr(Ptr<U>&& o) noexcept : p_(o.release()) {}

  ~Ptr() {
    if (p_) p_->useCountDec();
  }

  Ptr& operator=(const Ptr& o) noexcept {
    Ptr(o).swap(*this);  // safe for self-assignment and for o owned by *p_
    return *this;
  }
  Ptr& operator=(Ptr&& o) noexcept {
    Ptr(std::move(o)).swap(*this);
    return *this;
  }
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  Ptr& operator=(const Ptr<U>& o) noexcept {
    Ptr(o).swap(*this);
    return *this;
  }
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  Ptr& operator=(Ptr<U>&& o) noexcept {
    Ptr(std::move(o)).swap(*this);
    return *this;
  }
  Ptr& operator=(std::nullptr_t) noexcept {
    reset();
    return *this;
  }

  void swap(Ptr& o) noexcept { std::swap(p_, o.p_); }
  void reset() noexcept { Ptr().swap(*this); }
  /// Gives up ownership without touching the count; the caller now holds that user.
  T* release() noexcept { return std::exchange(p_, nullptr); }

  T* ptr() const noexcept { return p_; }
  T* get() const noexcept { return p_; }
  T* operator->() const noexcept { return p_; }
  T& operator*() const noexcept { return *p_; }
  explicit operator bool() const noexcept { return p_ != nullptr; }

  template <class U>
  bool operator==(const Ptr<U>& o) const noexcept {
    return p_ == o.get();
  }
  bool operator==(std::nullptr_t) const noexcept { return p_ == nullptr; }
  template <class U>
  std::strong_ordering operator<=>(const Ptr<U>& o) const noexcept {
    return std::compare_three_way()(p_, o.get());
  }

private:
  T* p_ = nullptr;
};

template <class T, class... A>
Ptr<T> newNode(A&&... a) {
  return Ptr<T>::adopt(new T(std::forward<A>(a)...));
}

template <class T, class U>
Ptr<T> ptrCast(const Ptr<U>& p) noexcept {
  return Ptr<T>(static_cast<T*>(p.get()));
}

template <class T, class U>
Ptr<T> ptrCast(Ptr<U>&& p) noexcept {
  return Ptr<T>::adopt(static_cast<T*>(p.release()));
}

}  // namespace Lumo

template <class T>
struct std::hash<Lumo::Ptr<T>> {
  std::size_t operator()(const Lumo::Ptr<T>& p) const noexcept { return std::hash<T*>()(p.get()); }
};
