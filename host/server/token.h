#pragma once

#include <string>
#include <string_view>

namespace vexahost {

// `bytes` random bytes as base64url (RFC 4648, 5), without padding.
std::string randomText(size_t bytes);

// What a client must show to see what belongs to the user. Made anew at each start.
class Token {
 public:
  Token();
  explicit Token(std::string text) : text_(std::move(text)) {}

  const std::string& text() const { return text_; }
  // Whether `authorization` is "Bearer" and the token (RFC 6750, 2.1). Takes as long for a text
  // that begins like the token as for any other of its length.
  bool isShownBy(std::string_view authorization) const;

 private:
  std::string text_;
};

}  // namespace vexahost
