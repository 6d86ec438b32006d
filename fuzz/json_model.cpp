#include <memory>

#include "json_harness.h"
#include "json_model.h"

// The parser and the serializer against a model of the same grammar. Both must refuse the same
// texts, hold the same values and write the same bytes.
namespace vexa::fuzz {
namespace {

// The values of one level, as the interfaces give them; deeper ones show in the text.
void compareMembers(const Node& expected, IJsonObject& object) {
  require(object.GetCount() == expected.members.size(), "as many members");
  for (uint64_t i = 0; i < expected.members.size(); ++i) {
    const Node& member = expected.members[i];
    const std::string& key = member.key;
    require(key.c_str() == std::string_view(object.GetKeyPtrAt(i)), "the same key");
    if (key.find('\0') != std::string::npos) {
      continue;  // no lookup finds it
    }
    require(object.GetTypeOf(key.c_str()) == member.type, "the same type");
    int32_t number = 0;
    if (object.GetInteger(key.c_str(), &number) == kOk) {
      require(number == member.number, "the same number");
    }
    if (const char* const string = object.GetStringPtr(key.c_str())) {
      require(string == std::string_view(member.string.c_str()), "the same string");
    }
  }
}

void compare(std::string_view text) {
  std::unique_ptr<Node> expected;
  try {
    expected = std::make_unique<Node>(Model(text).read());
  } catch (const Refused&) {
    expected = nullptr;
  }
  InterfaceHolder<IJsonObject> object;
  const int32_t result = parse(text, object);
  require(result == (expected ? kOk : kFail), "both accept or both refuse");
  if (expected) {
    compareMembers(*expected, *object);
    require(toText(*object) == written(*expected), "the same text");
  }
}

}  // namespace
}  // namespace vexa::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  return vexa::fuzz::checkInputOfModule(data, size, vexa::fuzz::compare);
}
