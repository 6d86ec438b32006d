#pragma once

#include <cstddef>
#include <utility>

#include "vexa/runtime/common_types.h"
#include "vexa/runtime/root_list.h"

// Owners of what is handed out: an object's reference, a block, a buffer, a handle. One class does
// it for all of them; a policy says what is owned and how it is given back. C++17.
namespace vexa {

// Owns one thing, moves and never copies. The policy:
//
//   struct FilePolicy {
//     using Type = int;
//     static constexpr Type empty() { return -1; }          // nothing is owned
//     static void release(Type file) { ::close(file); }     // never called for what is empty
//   };
//
// release may also be a const member of a policy with data, such as the tables to release with;
// the holder then keeps the policy. Without data the holder is as wide as its Type.
template <class Policy>
class Holder : private Policy {
 public:
  using Type = typename Policy::Type;

  Holder() = default;
  // Takes over what is given.
  explicit Holder(Type value) : value_(value) {}
  explicit Holder(const Policy& policy, Type value = Policy::empty())
      : Policy(policy), value_(value) {}
  Holder(Holder&& other) noexcept : Policy(other.policy()), value_(other.release()) {}
  Holder& operator=(Holder&& other) noexcept {
    if (this != &other) {
      reset();
      static_cast<Policy&>(*this) = other.policy();
      value_ = other.release();
    }
    return *this;
  }
  ~Holder() { reset(); }

  // A further reference; for policies with `static void share(Type)`. Null stays null.
  static Holder share(Type value) {
    if (value != Policy::empty()) {
      Policy::share(value);
    }
    return Holder(value);
  }

  const Policy& policy() const { return *this; }
  explicit operator bool() const { return value_ != Policy::empty(); }
  Type get() const { return value_; }
  Type operator->() const { return value_; }
  decltype(auto) operator*() const { return *value_; }
  decltype(auto) operator[](size_t index) const { return value_[index]; }

  // For outs. Gives back what is held first, so that a second use cannot lose it.
  Type* put() {
    reset();
    return &value_;
  }
  // For slots that use again what is held, or put something else in its place.
  Type* inOut() { return &value_; }
  void** putVoid() { return reinterpret_cast<void**>(put()); }
  // The caller owns it from now on.
  Type release() { return std::exchange(value_, Policy::empty()); }
  // Gives back what is held and takes over something else.
  void reset(Type value = Policy::empty()) {
    const Type old = std::exchange(value_, value);
    if (old != Policy::empty()) {
      Policy::release(old);
    }
  }

 private:
  Type value_ = Policy::empty();
};

// The part of a policy that is the same for all pointers.
template <class T>
struct PointerPolicy {
  using Type = T*;
  static constexpr Type empty() { return nullptr; }
};

// What one function gives back, such as a handle of a C library:
//   using Certificate = FunctionHolder<X509, X509_free>;
template <class T, auto kRelease>
struct FunctionPolicy : PointerPolicy<T> {
  static void release(T* thing) { kRelease(thing); }
};
template <class T, auto kRelease>
using FunctionHolder = Holder<FunctionPolicy<T, kRelease>>;

// One reference to an object of the module.
template <class Interface>
struct InterfacePolicy : PointerPolicy<Interface> {
  static void share(Interface* object) { object->AddRef(); }
  static void release(Interface* object) { object->Release(); }
};

// One reference to an object of the runtime.
template <class T>
struct RuntimeObjectPolicy : PointerPolicy<T> {
  static void share(T* object) { counted(object)->table->AddRef(counted(object)); }
  static void release(T* object) { counted(object)->table->Release(counted(object)); }

 private:
  static runtime::Object* counted(T* object) { return reinterpret_cast<runtime::Object*>(object); }
};

// What the runtime's tables give back. `Runtime` finds them: a type to copy with
// `const runtime::RootList& root() const` and `const runtime::CommonTypes& commonTypes() const`.
template <class T, class Runtime>
struct RuntimePolicy : PointerPolicy<T>, Runtime {
  RuntimePolicy() = default;
  RuntimePolicy(const Runtime& tables) : Runtime(tables) {}  // NOLINT(google-explicit-constructor)
};

// A block of the root list.
template <class T, class Runtime>
struct BlockPolicy : RuntimePolicy<T, Runtime> {
  using RuntimePolicy<T, Runtime>::RuntimePolicy;
  void release(T* block) const { this->root().Free(block); }
};

// A byte buffer, record and data.
template <class Runtime>
struct BufferPolicy : RuntimePolicy<runtime::ByteBuffer, Runtime> {
  using RuntimePolicy<runtime::ByteBuffer, Runtime>::RuntimePolicy;
  void release(runtime::ByteBuffer* buffer) const { this->commonTypes().BufferRelease(buffer); }
};

// A text that TextDuplicate of SEC_COMMONTYPES_1 made.
template <class Runtime>
struct TextPolicy : RuntimePolicy<char, Runtime> {
  using RuntimePolicy<char, Runtime>::RuntimePolicy;
  void release(char* text) const { this->commonTypes().TextRelease(text); }
};

// A private key with its public half.
template <class Runtime>
struct KeyPolicy : RuntimePolicy<runtime::KeyObject, Runtime> {
  using RuntimePolicy<runtime::KeyObject, Runtime>::RuntimePolicy;
  void release(runtime::KeyObject* key) const { this->commonTypes().KeyRelease(key); }
};

// The numbers of an RSA private key, wiped when they go.
template <class Runtime>
struct RsaPrivateKeyPolicy : RuntimePolicy<runtime::RsaPrivateKey, Runtime> {
  using RuntimePolicy<runtime::RsaPrivateKey, Runtime>::RuntimePolicy;
  void release(runtime::RsaPrivateKey* key) const { this->commonTypes().RsaPrivateKeyRelease(key); }
};

// A list of certificates with a reference to each.
template <class Runtime>
struct CertificateListPolicy : RuntimePolicy<runtime::CertificateList, Runtime> {
  using RuntimePolicy<runtime::CertificateList, Runtime>::RuntimePolicy;
  void release(runtime::CertificateList* head) const {
    this->commonTypes().CertificateListRelease(head);
  }
};

// The tables that a host has bound. They outlive every holder that was made with them.
class HostTables {
 public:
  HostTables(const runtime::RootList& root, const runtime::CommonTypes& commonTypes)
      : root_(&root), commonTypes_(&commonTypes) {}

  const runtime::RootList& root() const { return *root_; }
  const runtime::CommonTypes& commonTypes() const { return *commonTypes_; }

 private:
  const runtime::RootList* root_;
  const runtime::CommonTypes* commonTypes_;
};

// An object of the module, and one of the runtime.
template <class Interface>
using InterfaceHolder = Holder<InterfacePolicy<Interface>>;
template <class T>
using RuntimeObjectHolder = Holder<RuntimeObjectPolicy<T>>;

// What a host holds of the runtime's; made with its tables: `BufferHolder text(tables);`.
template <class T>
using BlockHolder = Holder<BlockPolicy<T, HostTables>>;
using BufferHolder = Holder<BufferPolicy<HostTables>>;
using TextHolder = Holder<TextPolicy<HostTables>>;
using KeyHolder = Holder<KeyPolicy<HostTables>>;
using RsaPrivateKeyHolder = Holder<RsaPrivateKeyPolicy<HostTables>>;
using CertificateListHolder = Holder<CertificateListPolicy<HostTables>>;

}  // namespace vexa
