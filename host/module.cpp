#include "module.h"

#include <cstdio>
#include <utility>

#include "cli/console.h"

namespace vexahost {

namespace runtime = vexa::runtime;

namespace {

constexpr char kHostName[] = "vexahost";

// Gives a table back and forgets it.
template <class Table>
void releaseTable(const runtime::RootList* root, const Table*& table) {
  const void* holder = std::exchange(table, nullptr);
  if (holder != nullptr) {
    root->ReleaseInterface(&holder);
  }
}

}  // namespace

std::string resultText(int32_t result) {
  char text[16];
  std::snprintf(text, sizeof(text), "0x%08x", static_cast<unsigned>(result));
  return vexa::resultName(result) + std::string(", ") + text;
}

void check(int32_t result, const char* what) {
  if (vexa::failed(result)) {
    throw HostError(std::string(what) + " failed (" + resultText(result) + ")");
  }
}

Module::Module(const ModuleOptions& options)
    : file_(options.module.empty() ? programFolder() / kModuleFile : options.module) {
  module_ = Library::load(file_);
  if (!module_) {
    throw HostError(textOf(file_) + ": cannot be loaded: " + Library::lastError());
  }
  const auto init = module_.find<vexa::ModuleInitFunction>(vexa::kModuleInitExport);
  const auto final = module_.find<vexa::ModuleFinalFunction>(vexa::kModuleFinalExport);
  if (init == nullptr || final == nullptr) {
    throw HostError(textOf(file_) + ": not a module: an export is missing");
  }
  const int32_t result = init(nullptr, &lookup_);
  // A start that got as far as the runtime needs its end; for one that did not this does nothing.
  final_ = final;
  if (vexa::failed(result)) {
    close();
    throw HostError("module_init failed (" + resultText(result) +
                    "): velmora must stand beside the module, or in \"lib\" beside its \"bin\"");
  }
  try {
    obtainRuntime();
    if (auto* const setTrace = runtimeFunction<decltype(velmora_set_trace)>("velmora_set_trace");
        setTrace != nullptr) {
      setTrace(options.traceLevel, nullptr);
    }
    classes_ = &list<vexa::ClassFactoryList>(vexa::kClassFactoryListName);
  } catch (...) {
    close();
    throw;
  }
}

Module::~Module() { close(); }

int64_t Module::close() {
  if (final_ == nullptr) {
    return -1;
  }
  releaseRuntime();
  std::exchange(final_, nullptr)();
  const auto liveBlocks =
      runtime_ ? runtimeFunction<decltype(velmora_live_blocks)>("velmora_live_blocks") : nullptr;
  return liveBlocks != nullptr ? static_cast<int64_t>(liveBlocks()) : -1;
}

// The module loaded velmora; the host shares its heap and its strings.
void Module::obtainRuntime() {
  runtime_ = Library::loaded(kRuntimeFile);
  const auto getRootList =
      runtime_ ? runtime_.find<runtime::GetRootListFunction>(runtime::kGetRootListExport) : nullptr;
  if (getRootList != nullptr) {
    getRootList(0, 0, &root_, 0, "", 0);
  }
  if (root_ == nullptr) {
    throw HostError("the runtime gives no root list");
  }
  types_ = static_cast<const runtime::CommonTypes*>(bind(nullptr, runtime::kCommonTypesName));
  strings_ = static_cast<const runtime::StringTable*>(
      bind(runtime::kStringComponent, runtime::kStringName));
  wideStrings_ = static_cast<const runtime::WideStringTable*>(
      bind(runtime::kStringComponent, runtime::kWideStringName));
  io_ = static_cast<const runtime::IoTable*>(bind(nullptr, runtime::kIoName));
}

void Module::releaseRuntime() {
  if (root_ == nullptr) {
    return;
  }
  releaseTable(root_, io_);
  releaseTable(root_, wideStrings_);
  releaseTable(root_, strings_);
  releaseTable(root_, types_);
  root_->ReleaseRoot(std::exchange(root_, nullptr));
}

const void* Module::bind(const char* component, const char* name) {
  const void* table = nullptr;
  if (root_->GetInterface(component, name, &table) != 0 || table == nullptr) {
    throw HostError(std::string("the runtime has no ") + name);
  }
  return table;
}

const void* Module::findList(const char* name) const {
  const void* list = nullptr;
  check(lookup_(kHostName, name, &list), name);
  return list;
}

void Module::createObject(const char* className, const vexa::Guid& id, void** object) const {
  check(classes_->CreateInstance(className, &id, object), className);
}

}  // namespace vexahost
