#pragma once

#include "vexa/ca.h"
#include "vexa/capi.h"
#include "vexa/certificates.h"
#include "vexa/ciphers.h"
#include "vexa/class_factory.h"
#include "vexa/client_monitor.h"
#include "vexa/core.h"
#include "vexa/hash_table.h"
#include "vexa/http_request.h"
#include "vexa/http_response.h"
#include "vexa/json.h"
#include "vexa/network.h"
#include "vexa/own_certificates.h"
#include "vexa/pse.h"
#include "vexa/scrambler.h"
#include "vexa/time.h"
#include "vexa/traits.h"
#include "vexa/url_parser.h"

// Everything that the module offers, as types that a tool or a test can walk.
namespace vexa {

template <class T>
struct Type {
  using type = T;
};
template <class... Types>
struct TypeList {};

using AllLists = TypeList<AscList, CoreList, CaList, CertificateFunctions, HashTableList,
                          JsonApiList, NetworkList, TimeList, CapiList, ClassFactoryList>;
using AllClasses = TypeList<ICertificates, IClientMonitor, IHTTPRequest, IHTTPResponse,
                            IOwnCertificates, IPse, IURLParser>;

// Calls `visit(Type<T>())` for each type in turn.
template <class... Types, class Visitor>
constexpr void forEachType(TypeList<Types...>, Visitor&& visit) {
  (visit(Type<Types>()), ...);
}

}  // namespace vexa
