#include "server/framing.h"

#include <algorithm>
#include <array>

namespace vexahost {
namespace {

constexpr std::string_view kLineEnd = "\r\n";

// tchar (RFC 9110, 5.6.2).
constexpr auto kTokenCharacters = [] {
  std::array<bool, 256> table{};
  for (unsigned c = 'a'; c <= 'z'; ++c) {
    table[c] = table[c - 'a' + 'A'] = true;
  }
  for (unsigned c = '0'; c <= '9'; ++c) {
    table[c] = true;
  }
  for (const char c : std::string_view("!#$%&'*+-.^_`|~")) {
    table[static_cast<unsigned char>(c)] = true;
  }
  return table;
}();

bool isTokenCharacter(char c) { return kTokenCharacters[static_cast<unsigned char>(c)]; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isBlank(char c) { return c == ' ' || c == '\t'; }
bool isControl(char c) { return (c >= '\0' && c < ' ') || c == '\x7F'; }

bool isToken(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), isTokenCharacter);
}

char lowered(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && isBlank(text.front())) {
    text.remove_prefix(1);
  }
  while (!text.empty() && isBlank(text.back())) {
    text.remove_suffix(1);
  }
  return text;
}

// The next line without its end; nothing when no end is left.
std::optional<std::string_view> takeLine(std::string_view& block) {
  const size_t end = block.find(kLineEnd);
  if (end == std::string_view::npos) {
    return std::nullopt;
  }
  const std::string_view line = block.substr(0, end);
  block.remove_prefix(end + kLineEnd.size());
  return line;
}

struct Field {
  std::string_view name;
  std::string_view value;
};

// field-line = field-name ":" OWS field-value OWS, without the obsolete folding.
std::optional<Field> readField(std::string_view line) {
  const size_t colon = line.find(':');
  if (colon == std::string_view::npos || !isToken(line.substr(0, colon))) {
    return std::nullopt;
  }
  const std::string_view value = trimmed(line.substr(colon + 1));
  const bool isClean =
      std::none_of(value.begin(), value.end(), [](char c) { return isControl(c) && c != '\t'; });
  return isClean ? std::optional<Field>({line.substr(0, colon), value}) : std::nullopt;
}

// Reads the lines of one block into a Head, or finds what is wrong with them.
class HeadReader {
 public:
  HeadReader(std::string_view block, uint64_t mostBody) : rest_(block), mostBody_(mostBody) {}

  std::variant<Head, Refusal> read() {
    const std::optional<std::string_view> requestLine = takeLine(rest_);
    if (!requestLine || !readRequestLine(*requestLine)) {
      return refusal_;
    }
    while (const std::optional<std::string_view> line = takeLine(rest_)) {
      if (line->empty()) {
        return finish() ? std::variant<Head, Refusal>(head_) : refusal_;
      }
      const std::optional<Field> field = readField(*line);
      if (!field) {
        return Refusal{400, "a header line cannot be read"};
      }
      if (!note(*field)) {
        return refusal_;
      }
    }
    return Refusal{400, "the header block is not whole"};
  }

 private:
  bool refuse(uint32_t status, const char* detail) {
    refusal_ = {status, detail};
    return false;
  }

  // request-line = method SP request-target SP HTTP-version
  bool readRequestLine(std::string_view line) {
    const size_t first = line.find(' ');
    const size_t last = line.rfind(' ');
    if (first == std::string_view::npos || first == last || !isToken(line.substr(0, first))) {
      return refuse(400, "no request line that can be read");
    }
    head_.method = line.substr(0, first);
    head_.target = line.substr(first + 1, last - first - 1);
    head_.afterTarget = {line.data() + last, line.size() - last + kLineEnd.size() + rest_.size()};
    return readVersion(line.substr(last + 1)) && readTarget();
  }

  // HTTP-version = "HTTP/" DIGIT "." DIGIT
  bool readVersion(std::string_view text) {
    constexpr std::string_view kName = "HTTP/";
    if (text.size() != kName.size() + 3 || !text.starts_with(kName) || !isDigit(text[5]) ||
        text[6] != '.' || !isDigit(text[7])) {
      return refuse(400, "no request line that can be read");
    }
    if (text[5] != '1') {
      return refuse(505, "the version of HTTP is not 1.0 or 1.1");
    }
    head_.minorVersion = static_cast<uint32_t>(text[7] - '0');
    head_.keepAlive = head_.minorVersion >= 1;
    return true;
  }

  // request-target = origin-form / absolute-form / asterisk-form
  bool readTarget() {
    constexpr std::string_view kScheme = "http://";
    std::string_view& target = head_.target;
    const auto isBad = [](char c) { return isControl(c) || c == ' '; };
    if (target.empty() || std::any_of(target.begin(), target.end(), isBad)) {
      return refuse(400, "the request target cannot be read");
    }
    if (target.size() > kScheme.size() &&
        equalIgnoringCase(target.substr(0, kScheme.size()), kScheme)) {
      target.remove_prefix(kScheme.size());
      const size_t hostEnd = target.find('/');
      if (hostEnd == std::string_view::npos) {
        return refuse(400, "the request target has no path");
      }
      head_.targetHost = target.substr(0, hostEnd);
      target.remove_prefix(hostEnd);
    }
    const bool isAsterisk = target == "*" && head_.method == "OPTIONS";
    return target.front() == '/' || isAsterisk || refuse(400, "the request target is not a path");
  }

  bool note(const Field& field) {
    struct Kept {
      std::string_view name;
      std::optional<std::string_view> Head::*value;
    };
    static constexpr Kept kKept[] = {
        {"Host", &Head::host},
        {"Origin", &Head::origin},
        {"Authorization", &Head::authorization},
        {"Sec-Fetch-Site", &Head::fetchSite},
        {"Access-Control-Request-Method", &Head::requestedMethod},
        {"Access-Control-Request-Headers", &Head::requestedHeaders},
        {"Access-Control-Request-Private-Network", &Head::privateNetwork},
    };
    for (const Kept& kept : kKept) {
      if (equalIgnoringCase(field.name, kept.name)) {
        std::optional<std::string_view>& value = head_.*kept.value;
        if (value) {
          return refuse(400, "a header that may come once comes twice");
        }
        value = field.value;
        return true;
      }
    }
    if (equalIgnoringCase(field.name, "Content-Length")) {
      return noteLength(field.value);
    }
    if (equalIgnoringCase(field.name, "Transfer-Encoding")) {
      isTransferCoded_ = true;
    } else if (equalIgnoringCase(field.name, "Connection")) {
      noteConnection(field.value);
    } else if (equalIgnoringCase(field.name, "Expect")) {
      head_.expectsContinue = equalIgnoringCase(field.value, "100-continue");
      return head_.expectsContinue || refuse(417, "this expectation cannot be met");
    }
    return true;
  }

  // Content-Length = 1*DIGIT
  bool noteLength(std::string_view text) {
    if (head_.contentLength) {
      return refuse(400, "two lengths are given for the body");
    }
    if (text.empty() || !std::all_of(text.begin(), text.end(), isDigit)) {
      return refuse(400, "the length of the body is not a number");
    }
    text.remove_prefix(std::min(text.find_first_not_of('0'), text.size()));
    constexpr size_t kSafeDigits = 18;
    uint64_t length = text.size() > kSafeDigits ? UINT64_MAX : 0;
    for (size_t i = 0; i < text.size() && length != UINT64_MAX; ++i) {
      length = 10 * length + static_cast<uint64_t>(text[i] - '0');
    }
    head_.contentLength = length;
    return true;
  }

  // Connection = #connection-option
  void noteConnection(std::string_view options) {
    while (!options.empty()) {
      const size_t end = std::min(options.find(','), options.size());
      const std::string_view option = trimmed(options.substr(0, end));
      if (equalIgnoringCase(option, "close")) {
        isClosing_ = true;
      } else if (equalIgnoringCase(option, "keep-alive")) {
        head_.keepAlive = true;
      }
      options.remove_prefix(std::min(end + 1, options.size()));
    }
  }

  // What only the whole block can tell.
  bool finish() {
    if (isClosing_) {
      head_.keepAlive = false;
    }
    if (isTransferCoded_) {
      // Both together, or a coding in HTTP/1.0, is how requests are smuggled past a proxy.
      return head_.contentLength || head_.minorVersion == 0
                 ? refuse(400, "the length of the body is ambiguous")
                 : refuse(501, "transfer codings are not taken; send a Content-Length");
    }
    if (!head_.host && head_.minorVersion >= 1) {
      return refuse(400, "the Host header is missing");
    }
    return head_.contentLength.value_or(0) <= mostBody_ || refuse(413, "the body is too large");
  }

  std::string_view rest_;
  const uint64_t mostBody_;
  Head head_;
  bool isTransferCoded_ = false;
  bool isClosing_ = false;
  Refusal refusal_{400, "no request line that can be read"};
};

}  // namespace

bool equalIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return lowered(x) == lowered(y);
         });
}

HeadScanner::Result HeadScanner::scan(std::string_view bytes) {
  while (true) {
    if (line_ == start_ && start_ < bytes.size() && bytes[start_] != '\r' &&
        !isTokenCharacter(bytes[start_])) {
      // The first byte tells already: a client that speaks TLS need not wait for its time-out.
      return refuse(400, "this is not HTTP");
    }
    const size_t end = bytes.find('\n', scanned_);
    if (end >= kMostHeadBytes) {  // no line end at all, too
      scanned_ = bytes.size();
      return bytes.size() > kMostHeadBytes ? refuse(431, "the header block is too large")
                                           : Result::kMoreNeeded;
    }
    if (end == line_ || bytes[end - 1] != '\r') {
      return refuse(400, "a line ends without a carriage return");
    }
    const bool isEmpty = end - line_ == 1;
    const bool isBeforeRequest = line_ == start_;
    line_ = scanned_ = end + 1;
    if (isEmpty && !isBeforeRequest) {
      return Result::kComplete;
    }
    if (isEmpty) {
      start_ = line_;
    }
  }
}

HeadScanner::Result HeadScanner::refuse(uint32_t status, const char* detail) {
  refusal_ = {status, detail};
  return Result::kRefused;
}

std::variant<Head, Refusal> parseHead(std::string_view block, uint64_t mostBody) {
  return HeadReader(block, mostBody).read();
}

std::optional<std::string_view> originOf(std::string_view block) {
  std::optional<std::string_view> origin;
  while (const std::optional<std::string_view> line = takeLine(block)) {
    const std::optional<Field> field = readField(*line);
    if (field && equalIgnoringCase(field->name, "Origin")) {
      if (origin) {
        return std::nullopt;  // which one is the page's?
      }
      origin = field->value;
    }
  }
  return origin;
}

}  // namespace vexahost
