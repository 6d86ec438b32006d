#include "catalog.h"

#include "vexa/ca.h"
#include "vexa/capi.h"
#include "vexa/certificates.h"
#include "vexa/client_monitor.h"
#include "vexa/core.h"
#include "vexa/hash_table.h"
#include "vexa/http_request.h"
#include "vexa/http_response.h"
#include "vexa/json.h"
#include "vexa/network.h"
#include "vexa/own_certificates.h"
#include "vexa/pse.h"
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
constexpr const char* kCaSlots[] = {"GetModuleInfo",   "CaSetExtensionA", "CaSetExtensionB",
                                    "CaSetExtensionC", "CaSetExtensionD", "CaSetExtensionPair",
                                    "SetKeyUsage",     "CaReserved"};
constexpr const char* kCertificateSlots[] = {"GetModuleInfo",          "IsEncryptionCertificate",
                                             "IsSignatureCertificate", "IsClientAuthCertificate",
                                             "IsCACertificate",        "IsRootCACertificate",
                                             "IsSelfIssuedEndEntity",  "HasExtendedKeyUsage",
                                             "GetCertificateValueA",   "GetCertificateValueB",
                                             "AppendCertificate",      "GetSecondName",
                                             "GetFirstName",           "CertificateFromText"};
constexpr const char* kHashTableSlots[] = {"GetModuleInfo", "CreateHashTable", "CreateHashTableEx"};
constexpr const char* kJsonSlots[] = {"GetModuleInfo", "CreateObject", "Parse"};
constexpr const char* kNetworkSlots[] = {"GetModuleInfo", "ConvertCookiePath",
                                         "GetIEUserSettingProxy", "IsLocalHost",
                                         "MatchesBypassList"};
constexpr const char* kTimeSlots[] = {"GetModuleInfo", "GetCurrentFileTime", "ConvertTime",
                                      "ConvertLibraryTime"};
constexpr const char* kCapiSlots[] = {"GetModuleInfo",     "CspImport",    "CspImportCACerts",
                                      "CspDeleteOwnCerts", "CspImportKey", "DeleteCACertsByName"};
constexpr const char* kClassFactorySlots[] = {"GetModuleInfo", "CreateInstance", "SetCreateHook"};

constexpr ListEntry kLists[] = {
    {vexa::kAscListName, kAscSlots},
    {vexa::kCoreListName, kCoreSlots},
    {vexa::kCaListName, kCaSlots},
    {vexa::kCertificateListName, kCertificateSlots},
    {vexa::kHashTableListName, kHashTableSlots},
    {vexa::kJsonApiListName, kJsonSlots},
    {vexa::kNetworkListName, kNetworkSlots},
    {vexa::kTimeListName, kTimeSlots},
    {vexa::kCapiListName, kCapiSlots},
    {vexa::kClassFactoryListName, kClassFactorySlots},
};

constexpr ClassEntry kClasses[] = {
    {vexa::kCertificatesClassName, vexa::IID_ICertificates, true},
    {vexa::kClientMonitorClassName, vexa::IID_IClientMonitor, true},
    {vexa::kHttpRequestClassName, vexa::IID_IHTTPRequest, false},
    {vexa::kHttpResponseClassName, vexa::IID_IHTTPResponse, false},
    {vexa::kOwnCertificatesClassName, vexa::IID_IOwnCertificates, true},
    {vexa::kPseClassName, vexa::IID_IPse, true},
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
