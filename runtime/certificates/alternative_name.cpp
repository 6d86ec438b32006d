#include "runtime/certificates/alternative_name.h"

#include <algorithm>
#include <charconv>

#include "runtime/der/der_writer.h"
#include "vexa/results.h"

namespace vexa::velmora {
namespace {

constexpr size_t kMaxDnsName = 253;
constexpr size_t kMaxDnsLabel = 63;
constexpr size_t kIpv4Length = 4;
constexpr size_t kIpv6Groups = 8;
constexpr size_t kIpv6Digits = 4;
constexpr char kNoAddress[] = "behind IP: stands no IPv4 or IPv6 address";

bool isPlainAscii(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return c > ' ' && static_cast<uint8_t>(c) < 0x7F;
  });
}

bool isLetterOrDigit(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

// letters, digits and inner hyphens (RFC 1034, 3.5)
bool isDnsLabel(std::string_view label) {
  return !label.empty() && label.size() <= kMaxDnsLabel && label.front() != '-' &&
         label.back() != '-' && std::all_of(label.begin(), label.end(), [](char c) {
           return isLetterOrDigit(c) || c == '-';
         });
}

bool isDnsName(std::string_view name) {
  if (name.size() > kMaxDnsName) {
    return false;
  }
  if (name.starts_with("*.")) {
    name.remove_prefix(2);
  }
  for (;;) {
    const size_t dot = name.find('.');
    if (!isDnsLabel(name.substr(0, dot))) {
      return false;
    }
    if (dot == std::string_view::npos) {
      return true;
    }
    name.remove_prefix(dot + 1);
  }
}

bool isEmail(std::string_view text) {
  const size_t at = text.find('@');
  return isPlainAscii(text) && at != std::string_view::npos && at != 0 &&
         isDnsName(text.substr(at + 1));
}

bool isUri(std::string_view text) {
  const size_t colon = text.find(':');
  return isPlainAscii(text) && colon != std::string_view::npos && colon != 0 &&
         colon + 1 < text.size() &&
         std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(colon),
                     [](char c) { return isLetterOrDigit(c) || c == '+' || c == '-' || c == '.'; });
}

// The whole text as a number of this base up to `most`.
bool takeNumber(std::string_view text, int base, uint32_t most, uint32_t& out) {
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, out, base);
  return read.ec == std::errc() && read.ptr == end && out <= most;
}

ByteView viewOf(std::string_view text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

// Each of the following appends a name's content, or answers why the text is none.

const char* appendDnsName(std::string_view text, Bytes& out) {
  out.append(viewOf(text));
  return isDnsName(text) ? nullptr : "behind DNS: stands no host name";
}

const char* appendEmail(std::string_view text, Bytes& out) {
  out.append(viewOf(text));
  return isEmail(text) ? nullptr : "behind email: stands no mail address";
}

const char* appendUri(std::string_view text, Bytes& out) {
  out.append(viewOf(text));
  return isUri(text) ? nullptr : "behind URI: stands no address with a scheme";
}

const char* appendIpv4(std::string_view text, Bytes& out) {
  for (size_t i = 0; i < kIpv4Length; ++i) {
    const size_t dot = text.find('.');
    const std::string_view digits = text.substr(0, dot);
    const bool isLast = i + 1 == kIpv4Length;
    if (digits.size() > 1 && digits.front() == '0') {  // 010 is 8 to some (RFC 6943, 3.1.1)
      return "behind IP: stands a number that begins with zero";
    }
    uint32_t number = 0;
    if ((dot == std::string_view::npos) != isLast || !takeNumber(digits, 10, 0xFF, number)) {
      return kNoAddress;
    }
    out.append(static_cast<uint8_t>(number));
    text.remove_prefix(isLast ? text.size() : dot + 1);
  }
  return nullptr;
}

// Groups of one to four hexadecimal digits between colons; nothing at all for no text.
bool appendGroups(std::string_view text, Bytes& out) {
  while (!text.empty()) {
    const size_t colon = text.find(':');
    const std::string_view digits = text.substr(0, colon);
    uint32_t group = 0;
    if (digits.size() > kIpv6Digits || !takeNumber(digits, 16, 0xFFFF, group) ||
        colon + 1 == text.size()) {
      return false;
    }
    out.append(static_cast<uint8_t>(group >> 8));
    out.append(static_cast<uint8_t>(group));
    text.remove_prefix(colon == std::string_view::npos ? text.size() : colon + 1);
  }
  return true;
}

// RFC 4291, 2.2, forms 1 and 2.
const char* appendIpv6(std::string_view text, Bytes& out) {
  Bytes front;
  Bytes back;
  const size_t gap = text.find("::");
  const bool hasGap = gap != std::string_view::npos;
  if (!appendGroups(text.substr(0, gap), front) ||
      (hasGap && !appendGroups(text.substr(gap + 2), back))) {
    return kNoAddress;
  }
  const size_t given = front.size() + back.size();
  if (front.failed() || back.failed()) {
    out.fail();
    return nullptr;
  }
  if (hasGap ? given >= 2 * kIpv6Groups : given != 2 * kIpv6Groups) {
    return kNoAddress;
  }
  out.append(front.view());
  for (size_t i = given; i < 2 * kIpv6Groups; ++i) {
    out.append(uint8_t{0});
  }
  out.append(back.view());
  return nullptr;
}

const char* appendAddress(std::string_view text, Bytes& out) {
  return text.find(':') == std::string_view::npos ? appendIpv4(text, out) : appendIpv6(text, out);
}

}  // namespace

int32_t appendAlternativeName(std::string_view text, Bytes& out, const char*& reason) {
  struct Kind {
    std::string_view prefix;
    uint8_t number;  // of the alternative in GeneralName
    const char* (*append)(std::string_view, Bytes&);
  };
  static constexpr Kind kKinds[] = {
      {"email:", 1, appendEmail},
      {"DNS:", 2, appendDnsName},
      {"URI:", 6, appendUri},
      {"IP:", 7, appendAddress},
  };
  for (const Kind& kind : kKinds) {
    if (!text.starts_with(kind.prefix)) {
      continue;
    }
    Bytes content;
    reason = kind.append(text.substr(kind.prefix.size()), content);
    if (reason != nullptr) {
      return content.failed() ? kOutOfMemory : kInvalidArgument;
    }
    DerWriter(out).element(contextTag(kind.number, false), content);
    return out.failed() ? kOutOfMemory : kOk;
  }
  reason = "an alternative name begins with DNS:, email:, URI: or IP:";
  return kInvalidArgument;
}

}  // namespace vexa::velmora
