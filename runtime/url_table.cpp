#include <string_view>

#include "runtime/basic_tables.h"
#include "runtime/string_operations.h"

namespace vexa::velmora {
namespace {

using runtime::WideStringObject;
using Operations = StringOperations<WideStringObject>;

// The host of an authority ([userinfo "@"] host [":" port], RFC 3986, 3.2). The brackets of an IPv6
// address stay, so that its ":" still tell it from a plain name.
std::u16string_view hostOf(std::u16string_view authority) {
  if (const size_t at = authority.rfind(u'@'); at != std::u16string_view::npos) {
    authority.remove_prefix(at + 1);
  }
  if (authority.starts_with(u'[')) {
    return authority.substr(0, authority.find(u']') + 1);
  }
  return authority.substr(0, authority.rfind(u':'));
}

int32_t split(const char16_t* url, WideStringObject* scheme, WideStringObject* host) {
  if (url == nullptr || scheme == nullptr || host == nullptr) {
    return kNullPointer;
  }
  // Both are empty on every failure.
  Operations::clear(scheme);
  Operations::clear(host);

  const std::u16string_view text(url);
  const size_t mark = text.find(u"://");
  if (mark == std::u16string_view::npos) {
    return kInvalidArgument;
  }
  const std::u16string_view rest = text.substr(mark + 3);
  const std::u16string_view found = hostOf(rest.substr(0, rest.find_first_of(u"/?#")));
  if (found.empty()) {
    return kInvalidArgument;
  }
  if (failed(Operations::assign(scheme, text.substr(0, mark))) ||
      failed(Operations::assign(host, found))) {
    Operations::clear(scheme);
    return kOutOfMemory;
  }
  for (uint64_t i = 0; i < scheme->length; ++i) {
    const char16_t unit = scheme->text[i];
    scheme->text[i] = unit >= 'A' && unit <= 'Z' ? static_cast<char16_t>(unit - 'A' + 'a') : unit;
  }
  return kOk;
}

}  // namespace

constinit const runtime::UrlTable urlTable = {.reserved0 = nullptr, .Split = split};

}  // namespace vexa::velmora
