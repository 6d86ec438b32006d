#pragma once

#include "vexa/runtime/records.h"
#include "vexa/runtime/table_traits.h"

namespace vexa::runtime {

inline constexpr char kUrlName[] = "SEC_URL_1";

// "SEC_URL_1"
struct UrlTable {
  Reserved reserved0;
  // scheme without ":", lower case; host without port and user information. Both are empty on
  // failure.
  int32_t (*Split)(const char16_t* url, WideStringObject* scheme, WideStringObject* host);
};
VEXA_OUR_SLOT(UrlTable, Split, 1);
template <>
struct TableTraits<UrlTable> {
  static constexpr const char* kComponent = nullptr;
  static constexpr const char* kName = kUrlName;
};

}  // namespace vexa::runtime
