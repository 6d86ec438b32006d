#include "base/binding.h"
#include "base/class_registry.h"
#include "base/list_registry.h"
#include "capi/capi_api_list.h"
#include "certs/asc_list.h"
#include "certs/ca_list.h"
#include "certs/certificate_list.h"
#include "certs/certificates.h"
#include "certs/own_certificates.h"
#include "certs/pse.h"
#include "collections/hashtable_list.h"
#include "json/jsonapi_list.h"
#include "module/class_factory_list.h"
#include "module/core_list.h"
#include "monitor/client_monitor.h"
#include "time/timeapi_list.h"
#include "webclient/http_request.h"
#include "webclient/http_response.h"
#include "webclient/network_list.h"
#include "webclient/url_parser.h"

// The module's table of contents: every static record, in the order of construction. Tables are
// bound from top to bottom and released from bottom to top; lists and classes are searched from
// the bottom.
namespace vexa::module {
namespace {

using base::bound;
using base::CLoadAPI_SEC_PKCS12;
using base::FactoryRecord;
using base::ListRecord;
using base::LoadRecord;
using base::UnloadRecord;

constexpr char kComponent[] = "vexabase";
constexpr char kFramework[] = "vexa";

// Bound tables
CLoadAPI_SEC_PKCS12 pkcs12;
LoadRecord commonTypes{nullptr, runtime::kCommonTypesName, bound.commonTypes};
LoadRecord encode{nullptr, runtime::kEncodeName, bound.encode};
LoadRecord strings{runtime::kStringComponent, runtime::kStringName, bound.strings};
LoadRecord multiStrings{runtime::kStringComponent, runtime::kMultiStringName, bound.multiStrings};
LoadRecord io{nullptr, runtime::kIoName, bound.io};
LoadRecord url{nullptr, runtime::kUrlName, bound.url};
LoadRecord wideStrings{runtime::kStringComponent, runtime::kWideStringName, bound.wideStrings};
LoadRecord wideMultiStrings{runtime::kStringComponent, runtime::kWideMultiStringName,
                            bound.wideMultiStrings};
LoadRecord asc{nullptr, runtime::kAscName, bound.asc};
LoadRecord crypt{nullptr, runtime::kCryptName, bound.crypt};
LoadRecord random{nullptr, runtime::kRandomName, bound.random};
LoadRecord time{nullptr, runtime::kTimeName, bound.time};
LoadRecord notify{nullptr, runtime::kNotifyName, bound.notify};

// Offered lists
ListRecord ascList{kComponent, kAscListName, &certs::kAscList};
ListRecord coreList{kComponent, kCoreListName, &kCoreList};
ListRecord caList{kComponent, kCaListName, &certs::kCaList};
ListRecord certificateFunctions{kComponent, kCertificateListName, &certs::kCertificateFunctions};
ListRecord hashTableList{kComponent, kHashTableListName, &collections::kHashTableList};
ListRecord jsonApi{kComponent, kJsonApiListName, &json::kJsonApi};

// Bound when own certificates are first asked for
UnloadRecord pseTable{bound.pse};

ListRecord networkList{kComponent, kNetworkListName, &webclient::kNetworkList};
ListRecord timeList{kComponent, kTimeListName, &time::kTimeList};
ListRecord capiList{kComponent, kCapiListName, &capi::kCapiList};
ListRecord classFactoryList{kFramework, kClassFactoryListName, &kClassFactoryList};

// Creatable classes
FactoryRecord certificates{kComponent, kCertificatesClassName,
                           certs::CCertificates::CreateInstance};
FactoryRecord clientMonitor{kComponent, kClientMonitorClassName,
                            monitor::CClientMonitor::CreateInstance};
FactoryRecord httpRequest{kComponent, kHttpRequestClassName,
                          webclient::CHTTPRequest::CreateInstance};
FactoryRecord httpResponse{kComponent, kHttpResponseClassName,
                           webclient::CHTTPResponse::CreateInstance};
FactoryRecord ownCertificates{kComponent, kOwnCertificatesClassName, certs::CreateOwnCertificates};
FactoryRecord pse{kComponent, kPseClassName, certs::CPSE::CreateInstance};
FactoryRecord urlParser{kComponent, kUrlParserClassName, webclient::URLParser::CreateInstance};

}  // namespace
}  // namespace vexa::module
