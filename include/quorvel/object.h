// What every public object has in common, and the handle that holds one.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <quorvel/export.h>

namespace quorvel {

template <typename T>
class Ref;

using Bytes = std::vector<unsigned char>;

/// Root of the public interfaces. An object is counted: every `Ref` to it is one reference, and it deletes
/// itself when the last one goes.
///
/// No operation of any object throws. One that fails returns its failure value (0, an empty text, a null
/// object); where the failure is one for the host to hear of, it also leaves an error report (`lastError`).
/// Texts are 8-bit, of any bytes, and are never converted; a `std::string_view` argument is not kept. Flags
/// are 1 and 0, indexes are 0-based, dates are OLE automation dates (days since 30 December 1899). An object
/// argument is borrowed for the call and may be null.
///
/// An object is used by one thread at a time.
class QUORVEL_API IQuorvelObject {
 public:
  static constexpr std::string_view kInterfaceName = "IQuorvelObject";

  virtual void addRef() noexcept = 0;
  virtual void release() noexcept = 0;
  /// As "CQuorvelEmail"; empty for a host's own object.
  virtual std::string_view className() const noexcept = 0;
  virtual bool implements(std::string_view interfaceName) const noexcept = 0;

  /// This object by another of its interfaces; null when it has none of that name.
  template <typename T>
  Ref<T> as() noexcept;

  IQuorvelObject(const IQuorvelObject&) = delete;
  IQuorvelObject& operator=(const IQuorvelObject&) = delete;

 protected:
  IQuorvelObject() = default;
  virtual ~IQuorvelObject() = default;
};

/// Holds one reference to an object, or none.
template <typename T>
class Ref {
 public:
  Ref() noexcept = default;
  Ref(std::nullptr_t) noexcept {}  // NOLINT
  /// Shares an object that is held elsewhere; may be null.
  explicit Ref(T* object) noexcept : object_(object) {
    if (object_ != nullptr) object_->addRef();
  }
  /// Takes over a reference that the caller has.
  static Ref adopt(T* object) noexcept {
    Ref ref;
    ref.object_ = object;
    return ref;
  }
  Ref(const Ref& other) noexcept : Ref(other.object_) {}
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <typename U>
  requires std::is_convertible_v<U*, T*> Ref(const Ref<U>& other)
  noexcept : Ref(other.get()) {}  // NOLINT
  template <typename U>
  requires std::is_convertible_v<U*, T*> Ref(Ref<U>&& other)
  noexcept : object_(other.detach()) {}  // NOLINT
  ~Ref() {
    if (object_ != nullptr) object_->release();
  }
  Ref& operator=(Ref other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }

  T* get() const noexcept { return object_; }
  T* operator->() const noexcept { return object_; }
  T& operator*() const noexcept { return *object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }
  /// Gives the reference to the caller.
  T* detach() noexcept { return std::exchange(object_, nullptr); }

  template <typename U>
  Ref<U> as() const noexcept {
    return object_ == nullptr ? Ref<U>() : object_->template as<U>();
  }

  friend bool operator==(const Ref& a, const Ref& b) noexcept { return a.object_ == b.object_; }

 private:
  T* object_ = nullptr;
};

template <typename T>
Ref<T> IQuorvelObject::as() noexcept {
  // Interfaces extend each other in one line without virtual bases, so that the name alone makes this safe.
  return implements(T::kInterfaceName) ? Ref<T>(static_cast<T*>(this)) : Ref<T>();
}

/// What an implementation of an interface derives from: the counting and the interface query. Hosts use it
/// for the objects that they hand to the component, as in
///
///     class Meter : public quorvel::Implements<quorvel::IQuorvelOutgoing> { ... };
///     auto meter = quorvel::make<Meter>();
template <typename Interface>
class Implements : public Interface {
 public:
  void addRef() noexcept override { references_.fetch_add(1, std::memory_order_relaxed); }
  void release() noexcept override {
    if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }
  std::string_view className() const noexcept override { return {}; }
  bool implements(std::string_view interfaceName) const noexcept override {
    return has<Interface>(interfaceName);
  }

 protected:
  Implements() = default;
  ~Implements() override = default;

 private:
  template <typename I>
  static bool has(std::string_view name) noexcept {
    if (name == I::kInterfaceName) return true;
    if constexpr (std::is_same_v<I, IQuorvelObject>) {
      return false;
    } else {
      return has<typename I::Base>(name);
    }
  }

  std::atomic<std::uint32_t> references_{1};  // that of the maker
};

/// Makes an object of a class that derives from `Implements`.
template <typename T, typename... Arguments>
Ref<T> make(Arguments&&... arguments) {
  return Ref<T>::adopt(new T(std::forward<Arguments>(arguments)...));
}

}  // namespace quorvel
