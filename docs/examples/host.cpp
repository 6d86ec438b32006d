// A complete small host in C++: it loads velmora and vexabase, gives the module the root list, and
// uses one function list and two objects.
//
//   host_cpp FOLDER     FOLDER holds the module and velmora
#include <cstdio>
#include <string>

#include "vexa/class_factory.h"
#include "vexa/json.h"
#include "vexa/module.h"
#include "vexa/runtime/common_types.h"
#include "vexa/runtime/bound_tables.h"
#include "vexa/time.h"
#include "vexa/url_parser.h"

#ifdef _WIN32
#include <windows.h>
using Library = HMODULE;
constexpr char kModuleFile[] = "\\vexabase.dll";
constexpr char kRuntimeFile[] = "\\velmora.dll";
static Library load(const std::string& file) { return LoadLibraryA(file.c_str()); }
static void* find(Library library, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(library, name));
}
static void unload(Library library) { FreeLibrary(library); }
#else
#include <dlfcn.h>
using Library = void*;
constexpr char kModuleFile[] = "/libvexabase.so";
constexpr char kRuntimeFile[] = "/velmora.so";
static Library load(const std::string& file) { return dlopen(file.c_str(), RTLD_NOW); }
static void* find(Library library, const char* name) { return dlsym(library, name); }
static void unload(Library library) { dlclose(library); }
#endif

namespace {

namespace runtime = vexa::runtime;

template <class Function>
Function findFunction(Library library, const char* name) {
  return reinterpret_cast<Function>(find(library, name));
}

template <class List>
const List* findList(vexa::GetModuleInterfaceFunction lookup, const char* name) {
  const void* list = nullptr;
  return vexa::succeeded(lookup("example", name, &list)) ? static_cast<const List*>(list) : nullptr;
}

void showTime(const vexa::TimeList& time) {
  const uint64_t ticks =
      time.ConvertTime(1, vexa::kUnixSecondsFormat, vexa::kFileTimeFormat);  // 1970-01-01 00:00:01
  std::printf("file time: %llu\n", static_cast<unsigned long long>(ticks));
}

bool showUrl(const vexa::ClassFactoryList& classes) {
  void* object = nullptr;
  if (vexa::failed(
          classes.CreateInstance(vexa::kUrlParserClassName, &vexa::IID_IURLParser, &object))) {
    return false;
  }
  auto* const url = static_cast<vexa::IURLParser*>(object);
  static constexpr char kText[] = "https://api.example.com:8443/x";  // outlives the parser
  const bool valid = vexa::succeeded(url->parse(kText));
  std::printf("origin: %.*s\n", static_cast<int>(url->getLength()), kText);
  std::printf("covered: %d\n", url->pattern_match("https://*.example.com:8443"));
  url->Release();
  return valid;
}

bool showJson(const vexa::JsonApiList& json, const runtime::CommonTypes& types) {
  vexa::IJsonObject* object = nullptr;
  if (vexa::failed(json.CreateObject(&object))) {
    return false;
  }
  runtime::ByteBuffer* text = nullptr;
  const bool written = vexa::succeeded(object->SetString("greeting", "hello")) &&
                       vexa::succeeded(object->ToText(&text));
  if (written) {
    std::fwrite(text->data, 1, text->length, stdout);
    types.BufferRelease(text);  // the caller's, from the root list
  }
  object->Release();
  return written;
}

// Between module_init and module_final.
bool useModule(vexa::GetModuleInterfaceFunction lookup, const runtime::CommonTypes& types) {
  const auto* time = findList<vexa::TimeList>(lookup, vexa::kTimeListName);
  const auto* classes = findList<vexa::ClassFactoryList>(lookup, vexa::kClassFactoryListName);
  const auto* json = findList<vexa::JsonApiList>(lookup, vexa::kJsonApiListName);
  if (time == nullptr || classes == nullptr || json == nullptr) {
    return false;
  }
  showTime(*time);
  return showUrl(*classes) && showJson(*json, types);
}

// With the root list in hand.
bool runModule(Library module, const runtime::RootList* root) {
  const auto init = findFunction<vexa::ModuleInitFunction>(module, vexa::kModuleInitExport);
  const auto final = findFunction<vexa::ModuleFinalFunction>(module, vexa::kModuleFinalExport);
  const void* types = nullptr;
  if (init == nullptr || final == nullptr ||
      root->GetInterface(nullptr, runtime::kCommonTypesName, &types) != 0) {
    return false;
  }
  vexa::GetModuleInterfaceFunction lookup = nullptr;
  const bool good = vexa::succeeded(init(root, &lookup)) &&
                    useModule(lookup, *static_cast<const runtime::CommonTypes*>(types));
  final();  // also after a failed start that got as far as the root list
  root->ReleaseInterface(&types);
  return good;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: host_cpp FOLDER\n");
    return 2;
  }
  const std::string folder = argv[1];
  const Library velmora = load(folder + kRuntimeFile);
  const Library module = load(folder + kModuleFile);
  bool good = false;
  if (velmora != nullptr && module != nullptr) {
    const auto getRootList =
        findFunction<runtime::GetRootListFunction>(velmora, runtime::kGetRootListExport);
    const runtime::RootList* root = nullptr;
    if (getRootList != nullptr && getRootList(0, 0, &root, 0, "", 0) == 0 && root != nullptr) {
      good = runModule(module, root);
      root->ReleaseRoot(root);  // by whoever obtained it
    }
  }
  if (module != nullptr) {
    unload(module);
  }
  if (velmora != nullptr) {
    unload(velmora);
  }
  if (!good) {
    std::fprintf(stderr, "host_cpp: the module in %s cannot be used\n", folder.c_str());
  }
  return good ? 0 : 1;
}
