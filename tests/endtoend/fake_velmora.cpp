#include "fake_velmora.h"

#include <cstring>

#include "vexa/results.h"

#if defined(_WIN32)
#define FAKE_EXPORT extern "C" __declspec(dllexport)
#else
#define FAKE_EXPORT extern "C" __attribute__((visibility("default")))
#endif

namespace {

namespace runtime = vexa::runtime;
using vexa::kFail;
using vexa::kOk;

constinit FakeVelmora fake;

void callBack(void (*function)()) {
  if (function != nullptr) {
    function();
  }
}

int32_t getTypes(const runtime::Pkcs12TypesTable** types) {
  static constinit const runtime::Pkcs12TypesTable kTypes = {};
  *types = &kTypes;
  return kOk;
}

constinit runtime::Pkcs12Table pkcs12 = [] {
  runtime::Pkcs12Table made = {};
  made.GetTypes = getTypes;
  return made;
}();

int32_t getInterface(const char* /*component*/, const char* name, const void** table) {
  callBack(fake.inBinding);
  // Nothing of it is called at a start or an end.
  static constinit const void* const kNoFunctions[64] = {};
  *table = std::strcmp(name, runtime::kPkcs12Name) == 0 ? static_cast<const void*>(&pkcs12)
                                                        : kNoFunctions;
  ++fake.bound;
  return kOk;
}

void releaseInterface(const void** table) {
  callBack(fake.inRelease);
  *table = nullptr;
  --fake.bound;
}

void releaseRoot(const runtime::RootList* self) {
  callBack(fake.inReleaseRoot);
  ++fake.released;
  fake.releasedRoot = self;
}

constinit runtime::RootList root = [] {
  runtime::RootList made = {};
  made.ReleaseRoot = releaseRoot;
  made.GetInterface = getInterface;
  made.ReleaseInterface = releaseInterface;
  return made;
}();

}  // namespace

FAKE_EXPORT FakeVelmora* fake_velmora() {
  fake.root = &root;
  fake.pkcs12 = &pkcs12;
  return &fake;
}

FAKE_EXPORT int32_t quorix_get_f_list(uint64_t first, uint64_t second,
                                      const runtime::RootList** out, uint64_t fourth,
                                      const char* options, uint64_t sixth) {
  ++fake.asked;
  callBack(fake.inExport);
  fake.first = first;
  fake.second = second;
  fake.hasOut = out != nullptr;
  fake.fourth = fourth;
  std::strncpy(fake.options, options != nullptr ? options : "null", sizeof(fake.options) - 1);
  fake.sixth = sixth;
  if (out != nullptr && fake.givesRoot) {
    *out = &root;
  }
  return kFail;  // nobody looks at it
}
