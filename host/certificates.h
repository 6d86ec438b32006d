#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "module.h"
#include "password.h"
#include "values.h"
#include "vexa/runtime/certificate.h"

// Certificates and keys of the runtime, as the host handles them.
namespace vexahost {

// Owns one reference to an object of the runtime.
template <class T>
class RuntimeRef {
 public:
  RuntimeRef() = default;
  explicit RuntimeRef(T* object) : object_(object) {}
  RuntimeRef(RuntimeRef&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  RuntimeRef& operator=(RuntimeRef&& other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~RuntimeRef() {
    if (object_ != nullptr) {
      auto* const counted = reinterpret_cast<vexa::runtime::Object*>(object_);
      counted->table->Release(counted);
    }
  }

  explicit operator bool() const { return object_ != nullptr; }
  T* get() const { return object_; }
  T* operator->() const { return object_; }
  T** put() { return &object_; }

 private:
  T* object_ = nullptr;
};
using CertificateRef = RuntimeRef<vexa::runtime::Certificate>;

// Every certificate of a PEM text, or the one of a DER encoding. `what` holds them, for the
// message. Throws HostError.
std::vector<CertificateRef> certificatesIn(const Module& module, std::string_view content,
                                           const std::string& what);
// The same for a file.
std::vector<CertificateRef> readCertificates(const Module& module, const std::string& path);
std::string toPem(const Module& module, const vexa::runtime::Certificate& certificate);

std::string subjectOf(const Module& module, vexa::runtime::Certificate* certificate);
std::string issuerOf(const Module& module, vexa::runtime::Certificate* certificate);

// What a certificate may be used for, by the module's predicates.
struct CertificateUses {
  bool encrypt;
  bool sign;
  bool client;
  bool ca;
  bool root;
  bool selfIssued;
};
CertificateUses usesOf(const Module& module, vexa::runtime::Certificate* certificate);

// A key with its certificate list, as PKCS#12 holds them.
class KeyAndChain {
 public:
  explicit KeyAndChain(const Module& module) : module_(&module) {}
  KeyAndChain(KeyAndChain&& other) noexcept
      : module_(other.module_),
        key(std::exchange(other.key, nullptr)),
        certificates(std::exchange(other.certificates, nullptr)) {}
  KeyAndChain& operator=(KeyAndChain&&) = delete;
  ~KeyAndChain() {
    module_->types().KeyRelease(key);
    module_->types().CertificateListRelease(certificates);
  }

  // Adds a certificate at the end, unless it is there already.
  void append(vexa::runtime::Certificate* certificate);

 private:
  const Module* module_;

 public:
  vexa::runtime::KeyObject* key = nullptr;
  vexa::runtime::CertificateList* certificates = nullptr;
};

KeyAndChain openPkcs12(const Module& module, const std::string& path, const std::string& password);
std::string createPkcs12(const Module& module, const KeyAndChain& content, const std::string& name,
                         const std::string& password);

// A private key from a PEM file: "PRIVATE KEY", "ENCRYPTED PRIVATE KEY" (RFC 5958), "RSA PRIVATE
// KEY" (RFC 8017) or "EC PRIVATE KEY" (RFC 5915). `password` is asked for when the key is
// encrypted. Throws HostError, also when the key is not that of the first certificate of `out`.
void readKey(const Module& module, const std::string& path, Password& password, KeyAndChain& out);

// A function of the reference runtime, which others do not have. Throws HostError.
template <class Function>
Function* requireRuntime(const Module& module, const char* name, const char* what) {
  auto* const function = module.runtimeFunction<Function>(name);
  if (function == nullptr) {
    throw HostError(std::string("this runtime ") + what, ExitStatus::kUnsupported);
  }
  return function;
}

}  // namespace vexahost
