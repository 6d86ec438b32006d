#pragma once

#include <string>
#include <string_view>

#include "module.h"
#include "secret.h"

// Texts of the module, of its runtime, and of the host.
namespace vexahost {

// Owns a wide string object that the module made.
struct WideStringPolicy : vexa::PointerPolicy<vexa::runtime::WideStringObject> {
  WideStringPolicy(const Module& module)  // NOLINT(google-explicit-constructor)
      : strings(&module.wideStrings()) {}
  void release(vexa::runtime::WideStringObject* string) const { strings->Destroy(string); }

  const vexa::runtime::WideStringTable* strings;
};
using WideStringHolder = vexa::Holder<WideStringPolicy>;

// A string object with a copy of a text.
class TextCopy : public vexa::String {
 public:
  TextCopy(const Module& module, std::string_view text) : vexa::String(module.strings()) {
    check(assign(text), "copying a text");
  }
};

// The same of a password. Wiped when it goes.
class SecretCopy : public TextCopy {
 public:
  using TextCopy::TextCopy;
  SecretCopy(const SecretCopy&) = delete;
  SecretCopy& operator=(const SecretCopy&) = delete;
  ~SecretCopy() { wipe(const_cast<char*>(view().data()), view().size()); }
};

// UTF-8 to the UTF-16 that the module takes, and back, by the string component.
std::u16string toUtf16(const Module& module, const std::string& text);
std::string toUtf8(const Module& module, const char16_t* text);

}  // namespace vexahost
