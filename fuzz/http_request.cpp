#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "http_harness.h"
#include "support/exact_bytes.h"
#include "webclient/http_request.h"

// A request fed whole, byte by byte and in random pieces must come out the same, and as a model of
// the same rules over strings by value reads it. To make that hold, the input ends where feeding it
// byte by byte first answers anything but "more": what a client sends beyond that, or a line that
// is too long before its end came, depends on the pieces by design. So does a request line without
// its two blanks, which takes its words from whatever has come of the lines behind it: such input
// must only do no harm.
//
// An allocation that fails is told by parse(), and never costs a line silently. Nothing may be left
// behind.
namespace vexa::fuzz {
namespace {

using test::ExactBytes;

constexpr size_t kNone = std::string::npos;

// Names that are looked up in every request, beside those that the model knows.
constexpr const char* kNames[] = {"", "x", "Y", "Origin", "Referer", "Content-Length", "Host"};

// --- The model ---

// What a reader of zero-terminated texts sees of it.
std::string upToNul(const std::string& text) { return text.substr(0, text.find('\0')); }

// Texts keyed by hash: a key of the same hash is the same key.
class Table {
 public:
  void put(const std::string& key, const std::string& value) {
    values_[hashOf(key.c_str())] = upToNul(value);
  }
  std::optional<std::string> get(const std::string& key) const {
    const auto found = values_.find(hashOf(key.c_str()));
    return found == values_.end() ? std::nullopt : std::optional(found->second);
  }

 private:
  static uint64_t hashOf(const char* text) {
    uint64_t hash = 0;
    for (; *text != '\0'; ++text) {
      hash = (hash * 16 | hash / (1 << 28)) ^ static_cast<uint8_t>(*text);
    }
    return hash;
  }

  std::map<uint64_t, std::string> values_;
};

struct Fields {
  std::string method;
  std::string uri;
  std::string path;
  std::string protocol;
  std::optional<std::string> body;
  Table query;
  Table headers;
  int32_t result = kMoreNeeded;
};

// first: the text up to the mark. second: what follows the mark; empty without one.
std::pair<std::string, std::string> splitFirst(const std::string& text, char mark) {
  const size_t at = text.find(mark);
  return {text.substr(0, at), at == kNone ? "" : text.substr(at + 1)};
}

int digitOf(char c) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  const size_t at = kDigits.find(normalised(std::string(1, c)));
  return at == kNone ? -1 : static_cast<int>(at);
}

std::string decoded(const std::string& text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool isEscape = text[i] == '%' && text.size() - i > 2 && digitOf(text[i + 1]) >= 0 &&
                          digitOf(text[i + 2]) >= 0;
    const int byte = isEscape ? digitOf(text[i + 1]) * 16 + digitOf(text[i + 2]) : 0;
    out += byte != 0 ? static_cast<char>(byte) : text[i];
    i += byte != 0 ? 2 : 0;
  }
  return out;
}

class Model {
 public:
  explicit Model(const std::string& input) : isRegular_(true) { read(input); }

  const Fields& fields() const { return fields_; }
  // False: the fields mean nothing.
  bool isRegular() const { return isRegular_; }

 private:
  void read(const std::string& input) {
    size_t start = 0;
    for (size_t end = 0; (end = input.find("\r\n", start)) != kNone; start = end + 2) {
      if (end == start) {
        readBody(input.substr(end + 2));
        return;
      }
      const std::string line = input.substr(start, end - start);
      if (fields_.uri.empty()) {
        readRequestLine(line);
      } else {
        readHeader(line);
      }
    }
    fields_.result = input.size() - start > kHttpMaxUnfinishedLine ? kFail : kMoreNeeded;
  }

  void readRequestLine(const std::string& line) {
    const size_t first = line.find_first_not_of("\t\n\r ");
    if (first == kNone || line.find(' ', first) == kNone) {
      isRegular_ = false;
      return;
    }
    const auto [method, rest] = splitFirst(line.substr(first), ' ');
    fields_.method = normalised(method);
    if (!isAllowed(fields_.method)) {
      return;
    }
    if (rest.find(' ') == kNone) {
      isRegular_ = false;
      return;
    }
    const auto [uri, protocol] = splitFirst(rest, ' ');
    fields_.uri = decoded(uri);
    fields_.protocol = protocol;
    if (!uri.empty()) {
      readUri();
    }
  }

  static bool isAllowed(const std::string& method) {
    constexpr std::string_view kMethods[] = {"OPTIONS", "GET",    "HEAD",  "POST",
                                             "PUT",     "DELETE", "TRACE", "CONNECT"};
    return std::find(std::begin(kMethods), std::end(kMethods), method) != std::end(kMethods);
  }

  void readUri() {
    std::string query;
    std::tie(fields_.path, query) = splitFirst(fields_.uri, '?');
    while (!query.empty()) {
      std::string pair;
      std::tie(pair, query) = splitFirst(query, '&');
      if (!pair.empty()) {
        const auto [key, value] = splitFirst(pair, '=');
        fields_.query.put(normalised(trimmed(key)), trimmed(value));
      }
    }
  }

  void readHeader(const std::string& line) {
    const size_t first = line.find_first_not_of("\t\n\r ");
    if (first == kNone) {
      return;
    }
    const auto [name, value] = splitFirst(upToNul(line.substr(first)), ':');
    if (name.empty()) {
      return;
    }
    const std::string key = normalised(trimmed(name));
    if (key == "REFERER" || key == "ORIGIN") {
      fields_.headers.put(key, trimmed(value));
    } else if (key == "CONTENT-LENGTH") {
      readLength(trimmed(value));
    }
  }

  void readLength(const std::string& value) {
    char* stop = nullptr;
    const long long number = std::strtoll(value.c_str(), &stop, 10);
    length_ = *stop != '\0' ? 0 : number;
  }

  void readBody(const std::string& rest) {
    if (rest.size() > kHttpMaxBody) {
      fields_.result = kFail;
    } else if (length_ == 0) {
      fields_.result = kOk;
    } else if (length_ == static_cast<long long>(rest.size())) {
      fields_.result = kOk;
      fields_.body = rest;
    }
  }

  Fields fields_;
  long long length_ = 0;
  bool isRegular_;
};

// --- The module ---

class Request : public Made<webclient::CHTTPRequest, IHTTPRequest> {
 public:
  int32_t feed(std::string_view piece) {
    const ExactBytes bytes(piece);
    return get().parse(bytes.data(), bytes.size());
  }

  // Until the answer is not "more".
  int32_t feedPieces(std::string_view input, uint64_t seed) {
    int32_t result = kMoreNeeded;
    while (!input.empty() && result == kMoreNeeded) {
      seed = seed * 6364136223846793005u + 1442695040888963407u;
      const uint64_t most = (seed >> 33) % 4 == 0 ? 4 : 200;
      const size_t size = std::min<uint64_t>((seed >> 40) % most + 1, input.size());
      result = feed(input.substr(0, size));
      input.remove_prefix(size);
    }
    return result;
  }
};

// How many bytes it takes, one by one, until the answer is not "more"; all if it stays so.
size_t lengthOfMessage(std::string_view input) {
  Request request;
  size_t length = 0;
  while (length < input.size() && request.feed(input.substr(length++, 1)) == kMoreNeeded) {
  }
  return length;
}

using Lookup = int32_t (IHTTPRequest::*)(const char*, char**);

void compareLookup(IHTTPRequest& request, Lookup lookup, const Table& expected,
                   const std::string& name) {
  base::Text value;
  const int32_t result = (request.*lookup)(name.c_str(), value.put());
  const auto wanted = expected.get(normalised(name));
  require(result == (wanted ? kOk : kFail), "the same names are known");
  require(wanted ? *wanted == value.get() : !value, "a name has the same value");
}

void compareBody(IHTTPRequest& request, const std::optional<std::string>& expected) {
  runtime::ByteBuffer body{};
  require(request.hasBody() == expected.has_value(), "both have a body or neither has");
  require(request.getBodyData(&body) == (expected ? kOk : kFail), "the body's result");
  require(request.getBody() == body.data, "one body");
  if (expected) {
    require(body.length == expected->size() &&
                std::memcmp(body.data, expected->data(), body.length) == 0,
            "the same body");
    require(body.data[body.length] == 0, "a zero byte behind the body");
  }
}

void compare(IHTTPRequest& request, int32_t result, const Fields& expected) {
  require(result == expected.result, "the same result");
  require(expected.method.c_str() == std::string_view(request.getMethod()), "the same method");
  require(expected.uri.c_str() == std::string_view(request.getURI()), "the same URI");
  require(expected.path.c_str() == std::string_view(request.getPath()), "the same path");
  require(expected.protocol.c_str() == std::string_view(request.getProtocolVersion()),
          "the same protocol version");
  compareBody(request, expected.body);
  for (const char* const name : kNames) {
    compareLookup(request, &IHTTPRequest::getHeader, expected.headers, name);
    compareLookup(request, &IHTTPRequest::getQueryParameter, expected.query, name);
  }
}

void feedWhole(std::string_view input, const Model& model) {
  traceLevel = 5;
  Request request;
  const int32_t result = request.feed(input);
  traceLevel = 0;
  if (model.isRegular()) {
    compare(request.get(), result, model.fields());
  }
}

void feedSplit(std::string_view input, uint64_t seed, const Model& model) {
  Request request;
  const int32_t result = request.feedPieces(input, seed);
  if (model.isRegular()) {
    compare(request.get(), result, model.fields());
  }
}

// Out of memory shows in the result, whatever line it befell.
void feedFailing(std::string_view input, uint64_t seed, const Model& model) {
  Request request;
  bool hasFailed = false;
  int32_t result = kOk;
  {
    const FailingAllocation failing(seed % 64 + 1);
    result = request.feedPieces(input, seed);
    hasFailed = failing.hasFailed();
  }
  require(hasFailed == (result == kOutOfMemory), "out of memory is told, and only then");
  if (!hasFailed && model.isRegular()) {
    compare(request.get(), result, model.fields());
  }
}

void check(std::string_view input) {
  if (input.empty()) {
    return;
  }
  const std::string_view message = input.substr(0, lengthOfMessage(input));
  const Model model{std::string(message)};
  feedWhole(message, model);
  feedSplit(message, 0, model);
  feedSplit(message, seedOf(input, 1), model);
  feedFailing(message, seedOf(input, 2), model);
  if (message.size() < input.size()) {  // no property, but no harm
    Request request;
    (void)request.feedPieces(input, seedOf(input, 3));
    (void)request.feed(input);
  }
}

}  // namespace
}  // namespace vexa::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  return vexa::fuzz::checkInputOfModule(data, size, vexa::fuzz::check);
}
