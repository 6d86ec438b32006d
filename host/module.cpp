#include "module.h"

#include <string>

#include "files.h"

namespace vexahost {

void check(int32_t result, const char* what) {
  if (vexa::failed(result)) {
    throw HostError(std::string(what) + " failed: " + vexa::resultText(result));
  }
}

Module::Module(const ModuleOptions& options)
    : file_(options.module.empty() ? programFolder() / vexa::kModuleFile : options.module) {
  std::string reason;
  if (vexa::failed(tryLoad(file_, *this, {.hostName = "vexahost"}, &reason))) {
    throw HostError(reason);
  }
  wideStrings_ = tryTable<vexa::runtime::WideStringTable>();
  if (!wideStrings_) {
    throw HostError("the runtime has no wide strings");
  }
  if (auto* const setTrace = runtimeFunction<decltype(velmora_set_trace)>("velmora_set_trace");
      setTrace != nullptr) {
    setTrace(options.traceLevel, nullptr);
  }
}

int64_t Module::close() {
  wideStrings_ = {};
  vexa::Module::close();
  auto* const liveBlocks = runtimeFunction<decltype(velmora_live_blocks)>("velmora_live_blocks");
  return liveBlocks != nullptr ? static_cast<int64_t>(liveBlocks()) : -1;
}

}  // namespace vexahost
