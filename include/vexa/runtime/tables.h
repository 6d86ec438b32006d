#pragma once

#include "vexa/runtime/certificate.h"
#include "vexa/runtime/common_types.h"
#include "vexa/runtime/object.h"
#include "vexa/runtime/pkcs12.h"
#include "vexa/runtime/records.h"
#include "vexa/runtime/root_list.h"
#include "vexa/runtime/services.h"
#include "vexa/runtime/strings.h"

// All bound tables and the names by which GetInterface of the root list finds them. The component
// is null, but for the four string tables, which belong to kStringComponent.
namespace vexa::runtime {

inline constexpr char kPkcs12Name[] = "SEC_PKCS12_1";
inline constexpr char kCommonTypesName[] = "SEC_COMMONTYPES_1";
inline constexpr char kEncodeName[] = "SEC_ENCODE_1";
inline constexpr char kStringName[] = "String.1";
inline constexpr char kMultiStringName[] = "MultiString.1";
inline constexpr char kIoName[] = "SEC_IO_1";
inline constexpr char kUrlName[] = "SEC_URL_1";
inline constexpr char kWideStringName[] = "StringW.1";
inline constexpr char kWideMultiStringName[] = "MultiStringW.1";
inline constexpr char kAscName[] = "SEC_ASC_1";
inline constexpr char kCryptName[] = "SEC_CRYPT_1";
inline constexpr char kRandomName[] = "SEC_RANDOM_1";
inline constexpr char kTimeName[] = "SEC_TIME_1";
inline constexpr char kNotifyName[] = "SEC_NOTIFY_1";
inline constexpr char kPseName[] = "SEC_PSE_1";

}  // namespace vexa::runtime
