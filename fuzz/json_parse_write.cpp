#include <functional>

#include "base/string.h"
#include "json_harness.h"

// Parses any text, and writes what came out. What is written parses back to an equal tree, and is
// written again as the same text, unless the tree holds something that the format does not carry:
//   - a key that is escaped when written (keys are read as they stand),
//   - in a string, a control byte whose decimal number reads differently in hexadecimal, or DEL.
// Nothing of the tree is left behind afterwards.
namespace vexa::fuzz {
namespace {

bool isWrittenAsItIs(std::string_view key) {
  for (const char c : key) {
    if (static_cast<uint8_t>(c) < 0x20 || c == '\\' || c == '/') {
      return false;
    }
  }
  return true;
}

bool comesBack(std::string_view string) {
  for (const char c : string) {
    const auto byte = static_cast<uint8_t>(c);
    const bool hasLetter = c == '\b' || c == '\t' || c == '\n' || c == '\f' || c == '\r';
    if (byte == 0x7F || (byte >= 10 && byte < 0x20 && !hasLetter)) {
      return false;
    }
  }
  return true;
}

bool carries(IJsonObject& object);

bool carries(IJsonArray& array) {
  bool all = true;
  for (uint64_t i = 0; i < array.GetCount(); ++i) {
    base::String string;
    InterfaceHolder<IJsonObject> object;
    InterfaceHolder<IJsonArray> nested;
    if (array.GetStringAt(i, string.get()) == kOk) {
      all = all && comesBack(string.view());
    } else if (array.GetObjectAt(i, object.put()) == kOk) {
      all = carries(*object) && all;
    } else if (array.GetArrayAt(i, nested.put()) == kOk) {
      all = carries(*nested) && all;
    }
  }
  return all;
}

bool carries(IJsonObject& object) {
  bool all = true;
  for (uint64_t i = 0; i < object.GetCount(); ++i) {
    base::String key;
    require(object.GetKeyAt(i, key.get()) == kOk, "every member has a key");
    if (!isWrittenAsItIs(key.view())) {
      all = false;
      continue;  // it may hold a zero byte, behind which a lookup does not see
    }
    const std::string name(key.view());
    base::String string;
    InterfaceHolder<IJsonObject> nested;
    InterfaceHolder<IJsonArray> array;
    if (object.GetString(name.c_str(), string.get()) == kOk) {
      all = all && comesBack(string.view());
    } else if (object.GetObject(name.c_str(), nested.put()) == kOk) {
      all = carries(*nested) && all;
    } else if (object.GetArray(name.c_str(), array.put()) == kOk) {
      all = carries(*array) && all;
    }
  }
  return all;
}

void checkText(std::string_view text) {
  InterfaceHolder<IJsonObject> object;
  if (parse(text, object) != kOk) {
    return;
  }
  const std::string written = toText(*object);
  if (!carries(*object)) {
    return;
  }
  InterfaceHolder<IJsonObject> again;
  require(parse(written, again) == kOk, "what is written can be read");
  require(toText(*again) == written, "what is read again is written alike");
  // Equal texts of two trees that carry all they hold mean equal trees.
  require(carries(*again), "nothing is lost on the way");
}

}  // namespace
}  // namespace vexa::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  return vexa::fuzz::checkInputOfModule(data, size, vexa::fuzz::checkText);
}
