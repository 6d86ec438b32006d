#include "json_value.h"

#include <algorithm>
#include <limits>

#include "cli/utf8.h"

namespace vexahost {
namespace {

constexpr char kSetting[] = "building JSON";

const vexa::JsonApiList& api(const Module& module) { return module.list<vexa::JsonApiList>(); }

}  // namespace

JsonObjectRef::JsonObjectRef(const Module& module) : module_(&module) {
  check(api(module).CreateObject(object_.put()), kSetting);
}

JsonObjectRef JsonObjectRef::parse(const Module& module, std::string_view text) {
  const vexa::runtime::ByteBuffer buffer = vexa::borrow(text);
  vexa::InterfaceHolder<vexa::IJsonObject> object;
  const int32_t result = api(module).Parse(&buffer, object.put());
  if (result == vexa::kOutOfMemory) {
    check(result, "reading JSON");
  }
  return {module, std::move(object)};
}

void JsonObjectRef::setText(const std::string& key, std::string_view text) {
  check(object_->SetString(key.c_str(), validUtf8(text).c_str()), kSetting);
}

void JsonObjectRef::setInteger(const std::string& key, int64_t value) {
  using Limits = std::numeric_limits<int32_t>;
  const int64_t clamped = std::clamp<int64_t>(value, Limits::min(), Limits::max());
  check(object_->SetInteger(key.c_str(), static_cast<int32_t>(clamped)), kSetting);
}

void JsonObjectRef::setBool(const std::string& key, bool value) {
  check(object_->SetBool(key.c_str(), value ? 1 : 0), kSetting);
}

JsonObjectRef JsonObjectRef::addObject(const std::string& key) {
  vexa::InterfaceHolder<vexa::IJsonObject> member;
  check(object_->AddObject(key.c_str(), member.put()), kSetting);
  return {*module_, std::move(member)};
}

JsonArrayRef JsonObjectRef::addArray(const std::string& key) {
  vexa::InterfaceHolder<vexa::IJsonArray> member;
  check(object_->AddArray(key.c_str(), member.put()), kSetting);
  return {*module_, std::move(member)};
}

std::string JsonObjectRef::text() const {
  vexa::BufferHolder buffer(module_->tables());
  check(object_->ToText(buffer.put()), "writing JSON");
  return std::string(vexa::view(buffer.get()));
}

void JsonArrayRef::addText(std::string_view text) {
  check(array_->SetStringAt(vexa::kJsonAtEnd, validUtf8(text).c_str()), kSetting);
}

JsonObjectRef JsonArrayRef::addObject() {
  vexa::InterfaceHolder<vexa::IJsonObject> element;
  check(array_->AddObjectAt(vexa::kJsonAtEnd, element.put()), kSetting);
  return {*module_, std::move(element)};
}

}  // namespace vexahost
