#include "texts.h"

namespace vexahost {
namespace {

using vexa::runtime::WideStringObject;

class WideStringRef {
 public:
  explicit WideStringRef(const Module& module) : module_(module) {}
  WideStringRef(const WideStringRef&) = delete;
  WideStringRef& operator=(const WideStringRef&) = delete;
  ~WideStringRef() { module_.wideStrings().Clear(&string_); }

  WideStringObject* get() { return &string_; }

 private:
  const Module& module_;
  WideStringObject string_{};
};

}  // namespace

std::u16string toUtf16(const Module& module, const std::string& text) {
  WideStringRef wide(module);
  check(module.wideStrings().FromMultiByte(wide.get(), vexa::runtime::kUtf8, text.c_str()),
        "converting a text");
  return {module.wideStrings().GetText(wide.get()), module.wideStrings().GetLength(wide.get())};
}

std::string toUtf8(const Module& module, const char16_t* text) {
  WideStringRef wide(module);
  vexa::String narrow = module.string();
  check(module.wideStrings().AssignText(wide.get(), text), "copying a text");
  check(module.wideStrings().ToMultiByte(wide.get(), vexa::runtime::kUtf8, narrow.get()),
        "converting a text");
  return std::string(narrow.view());
}

}  // namespace vexahost
