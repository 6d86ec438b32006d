#include "base/list_registry.h"

#include <cstring>
#include <utility>

namespace vexa::base {
namespace {

constexpr size_t kHostNameCharacters = 32;

constinit const CVEXA_API* listChain = nullptr;
constinit char hostName[kHostNameCharacters + 1] = {};

// Registers the first name given; true when `name` is absent or agrees with the registered one.
bool checkHostName(const char* name) {
  if (name == nullptr || *name == '\0') {
    return true;
  }
  if (*hostName == '\0') {
    std::strncpy(hostName, name, kHostNameCharacters);
    return true;
  }
  return std::strncmp(name, hostName, kHostNameCharacters) == 0;
}

}  // namespace

CVEXA_API::CVEXA_API(const char* /*component*/, const char* name, const void* functionList)
    : name_(name), functionList_(functionList), next_(std::exchange(listChain, this)) {}

int32_t GetModuleInterface(const char* host, const char* listName, const void** list) {
  if (!checkHostName(host)) {
    return kUnknownList;
  }
  if (listName == nullptr || list == nullptr) {
    return kNullListArgument;
  }
  *list = nullptr;
  for (const CVEXA_API* record = listChain; record != nullptr; record = record->next()) {
    if (std::strcmp(record->name(), listName) == 0) {
      if (failed(record->Check())) {
        return kUnknownList;
      }
      *list = record->functionList();
      return kOk;
    }
  }
  return kUnknownList;
}

const char* registeredHostName() { return hostName; }

int32_t fillModuleInfo(const char* listName, const char** name, const char** host,
                       const char** extra) {
  if (name != nullptr) {
    *name = listName;
  }
  if (host != nullptr) {
    *host = *hostName != '\0' ? hostName : nullptr;
  }
  if (extra != nullptr) {
    *extra = "";
  }
  return kOk;
}

}  // namespace vexa::base
