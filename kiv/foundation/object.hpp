// Object and Ref: the common base of everything a Value can refer to as an object (model objects
// among them), and the intrusive reference that keeps one alive.
//
// An Object counts its references itself, so that a Value holding it is one pointer wide and a
// Ref<T> can be made from a plain `this`. Counting is atomic: objects are shared between threads.
#ifndef KIV_FOUNDATION_OBJECT_HPP_
#define KIV_FOUNDATION_OBJECT_HPP_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace kiv {

class Value;

class Object {
 public:
  Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object() = default;

  // The "%@" text of the object.
  virtual std::string description() const;
  // Hash and equality as a Value compares objects; the defaults are identity.

  virtual std::size_t hash() const;
  virtual bool isEqual(const Object& other) const;

  // Whether the object is a model object (the model layer's base answers true): the cheap test
  // that lets the hot paths hand out models without a dynamic_cast.
  virtual bool isModelObject() const noexcept { return false; }

  // Key-value access by property name. A plain Object has no properties: it answers absent and
  // ignores writes. Model objects answer by their declared properties.

  virtual Value valueForKey(std::string_view key) const;
  virtual void setValue(const Value& value, std::string_view key);

  // Adds a reference. Ref and Value call it; code that holds a raw pointer pairs it with release().
  void retain() const noexcept { refs_.fetch_add(1, std::memory_order_relaxed); }
  // Drops a reference and deletes the object when it was the last one.
  void release() const noexcept {
    // A sole owner needs no read-modify-write: nobody else can add a reference to it.
    if (refs_.load(std::memory_order_acquire) == 1 || refs_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
      delete this;
    }
  }
  // The number of references; for tests and diagnostics only.
  std::uint32_t retainCount() const noexcept { return refs_.load(std::memory_order_relaxed); }

 private:
  mutable std::atomic<std::uint32_t> refs_{0};
};

// A strong, nullable reference to an Object of type T. Copying adds a reference; the object is
// deleted when the last reference goes.
template <class T>
class Ref {
 public:
  // A null reference.
  Ref() noexcept = default;
  Ref(std::nullptr_t) noexcept {}
  // A new reference to `object` (counted), or a null reference for nullptr.
  explicit Ref(T* object) noexcept : ptr_(object) {
    if (ptr_) ptr_->retain();
  }
  // Copies add a reference; moves take it over and leave `other` null. A Ref<U> converts to a
  // Ref<T> when a U* converts to a T*.
  Ref(const Ref& other) noexcept : Ref(other.ptr_) {}
  Ref(Ref&& other) noexcept : ptr_(std::exchange(other.ptr_, nullptr)) {}
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  Ref(const Ref<U>& other) noexcept : Ref(static_cast<T*>(other.get())) {}
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  Ref(Ref<U>&& other) noexcept : ptr_(other.detach()) {}
  ~Ref() {
    if (ptr_) ptr_->release();
  }

  // Copy or move assignment: releases the old object after taking the new one, so assigning a
  // Ref to itself is safe.
  Ref& operator=(Ref other) noexcept {
    std::swap(ptr_, other.ptr_);
    return *this;
  }

  // Takes over a reference to the object that the caller holds (it is not counted again).
  static Ref adopt(T* object) noexcept {
    Ref adopted;
    adopted.ptr_ = object;
    return adopted;
  }

  // Makes a new T and returns the first reference to it.
  template <class... Args>
  static Ref make(Args&&... args) {
    return Ref(new T(std::forward<Args>(args)...));
  }

  // The object, or nullptr; the reference stays with this Ref.
  T* get() const noexcept { return ptr_; }
  // Member access through the reference, which must not be null.
  T* operator->() const noexcept { return ptr_; }
  // The object; the reference must not be null.
  T& operator*() const noexcept { return *ptr_; }
  // Whether the reference is not null.
  explicit operator bool() const noexcept { return ptr_ != nullptr; }

  // Gives up the reference without releasing it.
  T* detach() noexcept { return std::exchange(ptr_, nullptr); }

  friend bool operator==(const Ref& a, const Ref& b) noexcept { return a.ptr_ == b.ptr_; }

 private:
  T* ptr_ = nullptr;
};

// Makes a new object of type T and returns a reference to it.
template <class T, class... Args>
Ref<T> makeRef(Args&&... args) {
  return Ref<T>::make(std::forward<Args>(args)...);
}

}  // namespace kiv

#endif  // KIV_FOUNDATION_OBJECT_HPP_
