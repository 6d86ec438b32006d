#include "webclient/cookie_path.h"

#include <cstring>

#include "base/heap.h"

namespace vexa::webclient {
namespace {

constexpr char kPathAttribute[] = "Path=";
constexpr char kReturnedAttribute[] = "; $";
// Room for the marks that are added and the terminator.
constexpr uint64_t kReserve = 5;

}  // namespace

int32_t ConvertCookiePath(const char* cookie, char** out) {
  if (out == nullptr) {
    return 0;
  }
  *out = nullptr;
  if (cookie == nullptr) {
    return 0;
  }
  auto* const text = static_cast<char*>(base::allocate(std::strlen(cookie) + kReserve));
  if (text == nullptr) {
    return 0;
  }
  *out = text;
  const char* const separator = std::strchr(cookie, ';');
  if (separator == nullptr) {
    return 1;  // the block stays as the allocator returned it
  }
  const auto pairLength = static_cast<size_t>(separator - cookie);
  std::memcpy(text, cookie, pairLength);
  text[pairLength] = '\0';
  if (const char* const path = std::strstr(separator + 1, kPathAttribute); path != nullptr) {
    std::strcat(text, kReturnedAttribute);
    std::strncat(text, path, std::strcspn(path, ";"));
  }
  return 1;
}

}  // namespace vexa::webclient
