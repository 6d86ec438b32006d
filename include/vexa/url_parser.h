#pragma once

#include "vexa/component.h"

namespace vexa {

inline constexpr char kUrlParserClassName[] = "vexa.webclient.url.parser";

// {9D4C1A6E-52F7-4B38-8E0D-73A1C6B95F24}
inline constexpr Guid IID_IURLParser{
    0x9D4C1A6E, 0x52F7, 0x4B38, {0x8E, 0x0D, 0x73, 0xA1, 0xC6, 0xB9, 0x5F, 0x24}};

// Splits an absolute http or https URL into origin and path; class "vexa.webclient.url.parser".
//
//   http://host[:port][/path]      https://host[:port][/path]
//
// This is no full RFC 3986 parser: the scheme is lower case, user information and IPv6 literals
// are not known, the host is everything up to the first ":" or "/". A URL whose "/" behind the
// host or port is its last character is not valid: "http://a" and "http://a/x" are, "http://a/" is
// not.
//
// Nothing is copied: the text given to parse must stay alive and unchanged until the next parse or
// the object's end. Texts are zero-terminated, 8-bit. One thread at a time; only the reference
// count is interlocked.
class IURLParser : public IComponent {
 public:
  // Slot 3. Replaces what the last parse left. kOk: valid. kFail: not valid (null too); the parts
  // that were recognised stay readable.
  virtual int32_t parse(const char* url) = 0;
  // Slot 4. The explicit port, else 80 or 443; 0 when there is none or it is not 1 to 65535. An
  // explicit port is 1 to 5 characters that are read like atoi reads: "8o" is 8.
  virtual int32_t getPort() = 0;
  // Slot 5.
  virtual bool isHTTPS() = 0;
  // Slot 6. There is a port, the host is not empty, and the end of the origin was found.
  virtual bool isValid() = 0;
  // Slot 7. Length of the origin ("https://host:port") in bytes; -1 when not valid.
  virtual int64_t getLength() = 0;
  // Slot 8. Same origin: both valid, same scheme, port and host. Letter case counts; paths do not.
  // False for null, for an object of another implementation, and when there is no memory.
  virtual bool cmp(IURLParser* other) = 0;
  // Slot 9. The same with a URL that is parsed first. The second slot of that name: see cmp below.
  virtual bool cmpText(const char* url) = 0;
  // Slot 10. True when `pattern` covers this URL, which must be valid and https. The pattern is a
  // valid URL with the same scheme and port; paths do not matter. Hosts are compared without regard
  // to ASCII case. A pattern host of at least 3 characters that begins with "*." stands for any one
  // first label, and needs another "." later on: "https://*.example.com". Refusals for a reason of
  // the host are traced at level 4. False when there is no memory.
  virtual bool pattern_match(const char* pattern) = 0;
  // Slot 11. Destroys the object; bit 0 of `flags` frees its memory too. Only Release calls it.
  virtual void* DeletingDestructor(uint32_t flags) = 0;

  // Not a slot: gives callers of slot 9 the name that it shares with slot 8.
  bool cmp(const char* url) { return cmpText(url); }

 protected:
  ~IURLParser() = default;
};
template <>
struct InterfaceTraits<IURLParser> {
  static constexpr Guid kId = IID_IURLParser;
};
template <>
struct ClassTraits<IURLParser> {
  static constexpr const char* kName = kUrlParserClassName;
  static constexpr bool kIsSingleton = false;
};

}  // namespace vexa
