#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "json/jsonapi_list.h"
#include "vexa/json.h"
#include "vexa/module.h"
#include "vexa/runtime/reference.h"

// What the JSON fuzz targets share: a started module, and objects and texts that release
// themselves.
extern "C" int32_t module_init(const vexa::runtime::RootList* root,
                               vexa::GetModuleInterfaceFunction* lookup);

namespace vexa::fuzz {

// A property that does not hold ends the run.
inline void require(bool holds, const char* what) {
  if (!holds) {
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
  }
}

inline const runtime::RootList& startedModule() {
  static const runtime::RootList* const root = [] {
    const runtime::RootList* list = nullptr;
    require(quorix_get_f_list(0, 0, &list, 0, "", 0) == kOk, "the runtime starts");
    require(module_init(list, nullptr) == kOk, "the module starts");
    return list;
  }();
  return *root;
}

// Holds one reference.
template <class Interface>
class Held {
 public:
  Held() = default;
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;
  ~Held() {
    if (object_ != nullptr) {
      object_->Release();
    }
  }

  explicit operator bool() const { return object_ != nullptr; }
  Interface* operator->() const { return object_; }
  Interface& operator*() const { return *object_; }
  Interface** put() { return &object_; }

 private:
  Interface* object_ = nullptr;
};

inline int32_t parse(std::string_view text, Held<IJsonObject>& object) {
  // The parser only reads it.
  const runtime::ByteBuffer record{text.size(),
                                   reinterpret_cast<uint8_t*>(const_cast<char*>(text.data()))};
  const int32_t result = json::kJsonApi.Parse(&record, object.put());
  require(static_cast<bool>(object) == (result == kOk), "an object exactly on success");
  return result;
}

inline std::string toText(IJsonObject& object) {
  runtime::ByteBuffer* text = nullptr;
  require(object.ToText(&text) == kOk, "every tree can be written");
  std::string copy(reinterpret_cast<const char*>(text->data), text->length);
  startedModule().Free(text->data);
  startedModule().Free(text);
  return copy;
}

}  // namespace vexa::fuzz
