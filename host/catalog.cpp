#include "catalog.h"

#include "vexa/client_monitor.h"
#include "vexa/core.h"
#include "vexa/hash_table.h"
#include "vexa/http_request.h"
#include "vexa/http_response.h"
#include "vexa/json.h"
#include "vexa/network.h"
#include "vexa/time.h"
#include "vexa/url_parser.h"

namespace vexahost {
namespace {

constexpr const char* kAscSlots[] = {"GetModuleInfo", "GetContext", "GetPse", "PseReserved10",
                                     "PseReserved12"};
constexpr const char* kCoreSlots[] = {"GetModuleInfo",      "reserved",         "reserved",
                                      "reserved",           "TerminateBuffer",  "AllocBuffer",
                                      "BufferFromBytes",    "BufferFromRange",  "CreateScrambler",
                                      "CreateScramblerEx",  "EncodeBase64",     "DecodeBase64",
                                      "GetCipherBlockSize", "GetCipherKeyBits", "reserved",
                                      "CreatePkcs12",       "OpenPkcs12"};
constexpr const char* kHashTableSlots[] = {"GetModuleInfo", "CreateHashTable", "CreateHashTableEx"};
constexpr const char* kJsonSlots[] = {"GetModuleInfo", "CreateObject", "Parse"};
constexpr const char* kNetworkSlots[] = {"GetModuleInfo", "ConvertCookiePath",
                                         "GetIEUserSettingProxy", "IsLocalHost",
                                         "MatchesBypassList"};
constexpr const char* kTimeSlots[] = {"GetModuleInfo", "GetCurrentFileTime", "ConvertTime",
                                      "ConvertLibraryTime"};
constexpr const char* kClassFactorySlots[] = {"GetModuleInfo", "CreateInstance", "SetCreateHook"};

constexpr ListEntry kLists[] = {
    {vexa::kAscListName, kAscSlots},
    {vexa::kCoreListName, kCoreSlots},
    {vexa::kHashTableListName, kHashTableSlots},
    {vexa::kJsonApiListName, kJsonSlots},
    {vexa::kNetworkListName, kNetworkSlots},
    {vexa::kTimeListName, kTimeSlots},
    {vexa::kClassFactoryListName, kClassFactorySlots},
};

constexpr ClassEntry kClasses[] = {
    {vexa::kClientMonitorClassName, vexa::IID_IClientMonitor, true},
    {vexa::kHttpRequestClassName, vexa::IID_IHTTPRequest, false},
    {vexa::kHttpResponseClassName, vexa::IID_IHTTPResponse, false},
    {vexa::kUrlParserClassName, vexa::IID_IURLParser, false},
};

}  // namespace

std::span<const ListEntry> knownLists() { return kLists; }
std::span<const ClassEntry> knownClasses() { return kClasses; }

std::string listOwnName(const Module& module, const ListEntry& entry) {
  // Every list begins with the same slot.
  const auto& list = module.list<vexa::ClassFactoryList>(entry.name);
  const char* name = nullptr;
  check(list.GetModuleInfo(&name, nullptr, nullptr), entry.name);
  return name;
}

}  // namespace vexahost
