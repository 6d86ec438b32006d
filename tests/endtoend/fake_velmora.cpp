#include "fake_velmora.h"

#include <cstring>

#include "vexa/results.h"
#include "vexa/runtime/pkcs12.h"

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

int32_t getTypes(const runtime::Pkcs12TypesTable** types) {
  static constinit const runtime::Pkcs12TypesTable kTypes = {};
  *types = &kTypes;
  return kOk;
}

int32_t getInterface(const char* /*component*/, const char* name, const void** table) {
  // Nothing of it is called at a start or an end.
  static constinit const void* const kNoFunctions[64] = {};
  static constinit const runtime::Pkcs12Table kPkcs12 = [] {
    runtime::Pkcs12Table made = {};
    made.GetTypes = getTypes;
    return made;
  }();
  *table = std::strcmp(name, runtime::kPkcs12Name) == 0 ? static_cast<const void*>(&kPkcs12)
                                                        : kNoFunctions;
  ++fake.bound;
  return kOk;
}

void releaseInterface(const void** table) {
  *table = nullptr;
  --fake.bound;
}

void releaseRoot(const runtime::RootList* self) {
  ++fake.released;
  fake.releasedRoot = self;
}

constinit const runtime::RootList kRoot = [] {
  runtime::RootList made = {};
  made.ReleaseRoot = releaseRoot;
  made.GetInterface = getInterface;
  made.ReleaseInterface = releaseInterface;
  return made;
}();

}  // namespace

FAKE_EXPORT FakeVelmora* fake_velmora() {
  fake.root = &kRoot;
  return &fake;
}

FAKE_EXPORT int32_t quorix_get_f_list(uint64_t first, uint64_t second,
                                      const runtime::RootList** out, uint64_t fourth,
                                      const char* options, uint64_t sixth) {
  ++fake.asked;
  fake.first = first;
  fake.second = second;
  fake.hasOut = out != nullptr;
  fake.fourth = fourth;
  std::strncpy(fake.options, options != nullptr ? options : "null", sizeof(fake.options) - 1);
  fake.sixth = sixth;
  if (out != nullptr && fake.givesRoot) {
    *out = &kRoot;
  }
  return kFail;  // nobody looks at it
}
