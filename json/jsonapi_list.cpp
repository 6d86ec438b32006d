#include "json/jsonapi_list.h"

#include "base/list_registry.h"
#include "json/collections.h"
#include "json/parser.h"

namespace vexa::json {
namespace {

int32_t createObject(IJsonObject** object) {
  if (object == nullptr) {
    return kInvalidArgument;
  }
  base::ComPtr<JsonObject> made;
  const int32_t result = createValue(made);
  *object = made.release();
  return result;
}

int32_t parse(const runtime::ByteBuffer* text, IJsonObject** object) {
  if (object != nullptr) {
    *object = nullptr;
  }
  if (text == nullptr || object == nullptr) {
    return kInvalidArgument;
  }
  base::ComPtr<JsonObject> made;
  const int32_t result = parseText(*text, made);
  *object = made.release();
  return result;
}

}  // namespace

constinit const JsonApiList kJsonApi = {
    .GetModuleInfo = base::GetModuleInfo<kJsonApiListName>,
    .CreateObject = createObject,
    .Parse = parse,
};

}  // namespace vexa::json
