#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "harness.h"
#include "webclient/url_parser.h"

// Splitting, comparison and host patterns of two texts, against a model of the same rules over
// strings by value. Both must see the same parts, give the same verdicts and trace the same
// message, and nothing may be left behind.
namespace vexa::fuzz {
namespace {

constexpr size_t kNone = std::string::npos;

// --- The model ---

struct Origin {
  std::string text;  // the whole URL
  size_t start = 0;  // of the host
  bool isHttps = false;
  std::string host;
  int port = 0;
  bool isValid = false;
  int64_t length = -1;
};

int portOf(const std::string& text) {
  const int number = text.empty() || text.size() > 5 ? 0 : std::atoi(text.c_str());
  return number >= 1 && number <= 65535 ? number : 0;
}

Origin split(const std::string& text) {
  Origin origin;
  origin.text = text;
  if (text.rfind("http://", 0) == 0 && text.size() > 7) {
    origin.start = 7;
    origin.port = 80;
  } else if (text.rfind("https://", 0) == 0 && text.size() > 8) {
    origin.start = 8;
    origin.port = 443;
    origin.isHttps = true;
  } else {
    return origin;
  }
  const size_t slash = std::min(text.find('/', origin.start), text.size());
  const std::string authority = text.substr(origin.start, slash - origin.start);
  const size_t colon = authority.find(':');
  origin.host = authority.substr(0, colon);
  if (colon != kNone) {
    origin.port = portOf(authority.substr(colon + 1));
  }
  const bool endsInSlash = slash + 1 == text.size();
  origin.isValid = origin.port != 0 && !origin.host.empty() && !endsInSlash;
  origin.length = origin.isValid ? static_cast<int64_t>(slash) : -1;
  return origin;
}

bool sameOrigin(const Origin& a, const Origin& b) {
  return a.isValid && b.isValid && a.isHttps == b.isHttps && a.port == b.port && a.host == b.host;
}

std::string lowered(std::string text) {
  for (char& c : text) {
    c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return text;
}

// "": the pattern covers the URL; "-": refused without a message; else why not.
std::string mismatch(const Origin& url, const Origin& pattern) {
  if (!url.isValid || !pattern.isValid || !url.isHttps || !pattern.isHttps ||
      url.port != pattern.port) {
    return "-";
  }
  std::string host = lowered(url.host);
  std::string expected = lowered(pattern.host);
  if (expected.size() >= 3 && expected[0] == '*') {
    const std::string behindStar = pattern.text.substr(pattern.start + 1);
    if (behindStar[0] != '.' || behindStar.find('.', 1) == kNone) {
      return "Need two domain name parts for wildcard hostname ";
    }
    host.erase(0, host.find('.'));
    expected.erase(0, 1);
  }
  for (size_t i = 0; i < std::min(host.size(), expected.size()); ++i) {
    if (expected[i] == '*') {
      return "Wildcard is between hostname and top level domain, thats not supported";
    }
    if (host[i] != expected[i]) {
      return "Pattern parts does not match";
    }
  }
  return host.size() == expected.size() ? "" : "Pattern does not match";
}

// --- The module ---

std::string messages;  // at level 4 under the module's own name

void noteMessageList(uint32_t level, const char* source, uint64_t, const char* format,
                     va_list arguments) {
  if (format[0] == '{' || format[0] == '}') {
    return;  // a scope
  }
  require(level == 4 && source == std::string_view("vexabase"), "level and source of a message");
  va_list measured;
  va_copy(measured, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, measured);
  va_end(measured);
  std::string text(static_cast<size_t>(length) + 1, '\0');
  std::vsnprintf(text.data(), text.size(), format, arguments);
  text.pop_back();
  messages += text;
}
void noteMessage(uint32_t level, const char* source, uint64_t reserved, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  noteMessageList(level, source, reserved, format, arguments);
  va_end(arguments);
}

// Messages are kept from now on, instead of being read and forgotten.
void noteMessages() {
  static constexpr runtime::NotifyTable kNotify{
      .reserved0 = nullptr,
      .Message = noteMessage,
      .MessageList = noteMessageList,
      .GetLevel = [](const char*, uint32_t) { return uint32_t{5}; }};
  startedModule();
  base::bound.notify.pointer = &kNotify;
}

// A text in a block of its exact size.
std::unique_ptr<char[]> exactly(const std::string& text) {
  auto copy = std::make_unique<char[]>(text.size() + 1);
  std::copy(text.begin(), text.end(), copy.get());
  return copy;
}

class Parser {
 public:
  explicit Parser(const std::string& text) : text_(exactly(text)), expected_(split(text)) {
    require(webclient::URLParser::CreateInstance(&IID_IURLParser, object_.putVoid()) == kOk,
            "a parser");
    const int32_t result = get()->parse(text_.get());
    require(result == (expected_.isValid ? kOk : kFail), "both accept or both refuse");
    require(get()->isValid() == expected_.isValid, "the same validity");
    require(get()->isHTTPS() == expected_.isHttps, "the same scheme");
    require(get()->getPort() == expected_.port, "the same port");
    require(get()->getLength() == expected_.length, "the same length");
  }
  Parser(const Parser&) = delete;
  Parser& operator=(const Parser&) = delete;

  IURLParser* get() const { return object_.get(); }
  const char* text() const { return text_.get(); }
  const Origin& expected() const { return expected_; }

 private:
  std::unique_ptr<char[]> text_;
  Origin expected_;
  InterfaceHolder<IURLParser> object_;
};

void compareOrigins(const Parser& a, const Parser& b) {
  const bool same = sameOrigin(a.expected(), b.expected());
  require(a.get()->cmp(b.get()) == same, "the same verdict on two objects");
  require(b.get()->cmp(a.get()) == same, "the same verdict the other way round");
  require(a.get()->cmp(b.text()) == same, "the same verdict on a text");
  require(a.get()->cmp(a.get()) == a.expected().isValid, "a valid URL is its own origin");
}

void matchPattern(const Parser& url, const Parser& pattern) {
  const std::string reason = mismatch(url.expected(), pattern.expected());
  messages.clear();
  require(url.get()->pattern_match(pattern.text()) == reason.empty(), "the same match");
  std::string message;
  if (reason.size() > 1) {
    message = "Bad Pattern match: [" + url.expected().text.substr(url.expected().start) + "] != [" +
              pattern.expected().text + "]. " + reason;
  }
  require(messages == message, "the same message");
}

// Two texts, parted by a zero byte or a line end; the second may be missing.
void check(std::string_view input) {
  const size_t end = std::min(input.find_first_of(std::string_view("\0\n", 2)), input.size());
  const std::string first(input.substr(0, end));
  std::string second(input.substr(std::min(end + 1, input.size())));
  second.resize(std::min(second.find('\0'), second.size()));
  const Parser a(first);
  const Parser b(second);
  compareOrigins(a, b);
  matchPattern(a, b);
  matchPattern(b, a);
}

}  // namespace
}  // namespace vexa::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vexa::fuzz::noteMessages();
  return vexa::fuzz::checkInputOfModule(data, size, vexa::fuzz::check);
}
