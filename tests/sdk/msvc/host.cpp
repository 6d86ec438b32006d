#include "host.h"

namespace msvc_host {
namespace {

uint32_t checks = 0;
uint32_t failures = 0;

void print(const char* text) {
  DWORD length = 0;
  while (text[length] != '\0') {
    ++length;
  }
  DWORD written = 0;
  WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), text, length, &written, nullptr);
}

void print(uint32_t number) {
  char text[11];
  char* at = text + sizeof(text) - 1;
  *at = '\0';
  do {
    *--at = static_cast<char>('0' + number % 10);
    number /= 10;
  } while (number != 0);
  print(at);
}

template <class Table>
const Table* table(const vexa::runtime::RootList* root) {
  const void* found = nullptr;
  expect(root->GetInterface(vexa::runtime::TableTraits<Table>::kComponent,
                            vexa::runtime::TableTraits<Table>::kName, &found) == 0,
         vexa::runtime::TableTraits<Table>::kName);
  return static_cast<const Table*>(found);
}

void giveBack(const vexa::runtime::RootList* root, const void* table) {
  root->ReleaseInterface(&table);
}

void useModule(Module& module) {
  module.velmora = LoadLibraryA("velmora.dll");  // a reference that outlives the module's
  const auto getRootList =
      module.runtimeFunction<decltype(quorix_get_f_list)>(vexa::runtime::kGetRootListExport);
  getRootList(0, 0, &module.root, 0, "", 0);
  module.types = table<vexa::runtime::CommonTypes>(module.root);
  module.strings = table<vexa::runtime::StringTable>(module.root);

  walkListsAndClasses(module);
  useJson(module);
  useWebClasses(module);
  useMonitor(module);
  useScrambler(module);
  useHashTable(module);
  useSmallLists(module);
  useCertificates(module);

  giveBack(module.root, module.types);
  giveBack(module.root, module.strings);
  module.root->ReleaseRoot(module.root);
}

void run() {
  const HMODULE library = LoadLibraryA("vexabase.dll");
  const auto find = [library](const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(library, name));
  };
  const auto init = reinterpret_cast<vexa::ModuleInitFunction>(find(vexa::kModuleInitExport));
  const auto final = reinterpret_cast<vexa::ModuleFinalFunction>(find(vexa::kModuleFinalExport));
  expect(init != nullptr && final != nullptr, "the exports");
  Module module{};
  if (init == nullptr || init(nullptr, &module.lookup) != vexa::kOk) {
    expect(false, "module_init");
    return;
  }
  useModule(module);
  const auto live = module.runtimeFunction<decltype(velmora_live_blocks)>("velmora_live_blocks");
  expect(final() == vexa::kOk, "module_final");
  expect(live() == 0, "no block is left");
}

}  // namespace

void expect(bool good, const char* what) {
  ++checks;
  if (!good) {
    ++failures;
    print("not so: ");
    print(what);
    print("\n");
  }
}

bool equal(const char* a, const char* b) {
  if (a == nullptr || b == nullptr) {
    return a == b;
  }
  while (*a != '\0' && *a == *b) {
    ++a;
    ++b;
  }
  return *a == *b;
}

}  // namespace msvc_host

// What the compiler calls by itself, and a C library would have.
extern "C" void* memset(void* to, int value, size_t count) {
  for (volatile char* at = static_cast<char*>(to); count != 0; --count) {
    *at++ = static_cast<char>(value);
  }
  return to;
}
extern "C" void* memcpy(void* to, const void* from, size_t count) {
  const char* source = static_cast<const char*>(from);
  for (volatile char* at = static_cast<char*>(to); count != 0; --count) {
    *at++ = *source++;
  }
  return to;
}

// A class with pure virtual functions asks for it; it is never called.
extern "C" int _purecall() { return 0; }

extern "C" void start() {
  using namespace msvc_host;
  run();
  print(checks - failures);
  print(" passed, ");
  print(failures);
  print(" failed\n");
  ExitProcess(failures == 0 ? 0 : 1);
}
