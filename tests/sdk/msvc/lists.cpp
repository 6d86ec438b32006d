#include "host.h"

namespace msvc_host {
namespace {

int32_t hookCalls = 0;

int32_t createElsewhere(const char*, const char*, const vexa::Guid*, void** object) {
  ++hookCalls;
  *object = nullptr;
  return vexa::kFail;
}

template <class List>
void walkList(const Module& module) {
  const List& list = module.list<List>();
  const char* name = nullptr;
  const char* host = nullptr;
  const char* extra = nullptr;
  expect(list.GetModuleInfo(&name, &host, &extra) == vexa::kOk, "GetModuleInfo");
  expect(equal(name, vexa::ListTraits<List>::kName), "the list's own name");
  expect(equal(host, "msvc host") && equal(extra, ""), "the host's name and an empty text");
  const auto* const slots = reinterpret_cast<void* const*>(&list);
  for (const vexa::ListSlot& slot : vexa::ListTraits<List>::kSlots) {
    expect(slots[slot.number] != nullptr, slot.name);
  }
}

template <class Interface>
void walkClass(const Module& module) {
  Interface* const object = module.make<Interface>();
  const uint32_t count = object->AddRef();
  expect(object->Release() == count - 1, "AddRef and Release");
  void* base = nullptr;
  expect(object->QueryInterface(&vexa::IID_IComponent, &base) == vexa::kOk, "QueryInterface");
  static_cast<vexa::IComponent*>(base)->Release();
  const vexa::Guid unknown{1, 2, 3, {{4}}};
  expect(object->QueryInterface(&unknown, &base) == vexa::kNoInterface && base == nullptr,
         "an unknown interface");
  const uint32_t left = object->Release();
  expect(left == (vexa::ClassTraits<Interface>::kIsSingleton ? 1u : 0u), "the last reference");
}

}  // namespace

void walkListsAndClasses(const Module& module) {
  vexa::forEachType(vexa::AllLists(),
                    [&module](auto list) { walkList<typename decltype(list)::type>(module); });
  vexa::forEachType(vexa::AllClasses(),
                    [&module](auto object) { walkClass<typename decltype(object)::type>(module); });
  const auto& classes = module.list<vexa::ClassFactoryList>();
  expect(classes.SetCreateHook(createElsewhere) == vexa::kFail, "SetCreateHook");
  expect(classes.SetCreateHook(nullptr) == vexa::kFail && hookCalls == 0, "no hook");
}

void useSmallLists(const Module& module) {
  const auto& time = module.list<vexa::TimeList>();
  expect(
      time.ConvertTime(0, vexa::kUnixSecondsFormat, vexa::kFileTimeFormat) == vexa::kUnixEpochTicks,
      "ConvertTime");
  expect(time.GetCurrentFileTime() > vexa::kUnixEpochTicks, "GetCurrentFileTime");
  const auto& network = module.list<vexa::NetworkList>();
  expect(network.IsLocalHost("http://machine/") == 1, "IsLocalHost");
  expect(network.MatchesBypassList("http://a.example/x", u"*.example") == 1, "MatchesBypassList");
  char* cookie = nullptr;
  expect(network.ConvertCookiePath("a=b; Path=/x", &cookie) == 1, "ConvertCookiePath");
  expect(equal(cookie, "a=b; $Path=/x"), "the cookie");
  module.root->Free(cookie);

  const auto& core = module.list<vexa::CoreList>();
  vexa::runtime::ByteBuffer* in = nullptr;
  vexa::runtime::ByteBuffer* out = nullptr;
  expect(core.BufferFromBytes("hello", 5, &in) == vexa::kOk, "BufferFromBytes");
  core.TerminateBuffer(in);
  expect(core.EncodeBase64(in, &out) == vexa::kOk && out->length == 10, "EncodeBase64");
  expect(core.DecodeBase64(out, &out) == vexa::kOk && out->length == 5, "DecodeBase64");
  expect(module.types->BufferCompare(in, out) == 0, "BufferCompare");
  uint64_t size = 0;
  expect(core.GetCipherBlockSize(vexa::kAes256, &size) == vexa::kOk && size == 16, "block size");
  expect(core.GetCipherKeyBits(vexa::kAes256, &size) == vexa::kOk && size == 256, "key bits");
  module.types->BufferRelease(in);
  module.types->BufferRelease(out);
}

}  // namespace msvc_host
