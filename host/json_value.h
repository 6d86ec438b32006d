#pragma once

#include <string>
#include <string_view>

#include "module.h"
#include "vexa/json.h"

// JSON through the module's "jsonapi". Failures throw HostError.
namespace vexahost {

class JsonArrayRef;

class JsonObjectRef {
 public:
  // A new empty object.
  explicit JsonObjectRef(const Module& module);
  // Null text: the text is not a JSON object the module reads.
  static JsonObjectRef parse(const Module& module, std::string_view text);

  explicit operator bool() const { return static_cast<bool>(object_); }
  vexa::IJsonObject* get() const { return object_.get(); }

  // Invalid UTF-8 is replaced; a zero byte ends the text.
  void setText(const std::string& key, std::string_view text);
  void setInteger(const std::string& key, int64_t value);  // clamped to 32 bits
  void setBool(const std::string& key, bool value);
  JsonObjectRef addObject(const std::string& key);
  JsonArrayRef addArray(const std::string& key);

  std::string text() const;

 private:
  friend class JsonArrayRef;
  JsonObjectRef(const Module& module, vexa::InterfaceHolder<vexa::IJsonObject> object)
      : module_(&module), object_(std::move(object)) {}

  const Module* module_;
  vexa::InterfaceHolder<vexa::IJsonObject> object_;
};

class JsonArrayRef {
 public:
  void addText(std::string_view text);
  JsonObjectRef addObject();

 private:
  friend class JsonObjectRef;
  JsonArrayRef(const Module& module, vexa::InterfaceHolder<vexa::IJsonArray> array)
      : module_(&module), array_(std::move(array)) {}

  const Module* module_;
  vexa::InterfaceHolder<vexa::IJsonArray> array_;
};

}  // namespace vexahost
