#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "http_harness.h"
#include "webclient/http_response.h"

// A response built by a list of steps, one a line, against a model over strings by value: every
// result and every byte written must be the same. The first byte of a line names the step:
//   S404 reason   set the status ("S404" alone: without a reason)
//   Ptext         set the protocol
//   Btext         set the body
//   Hname: value  add a header ("Hname" alone: without a value)
//   W120          serialise into a block of 120 bytes ("W" alone: without a block)
// The list runs twice: once undisturbed, once with one allocation that fails. Then results may tell
// so, and what was there before must stay. Nothing may be left behind.
namespace vexa::fuzz {
namespace {

constexpr size_t kNone = std::string::npos;
constexpr uint64_t kMostCapacity = 1 << 16;

// --- The model ---

// The usual reasons, one a line, as hosts know them.
constexpr std::string_view kReasons =
    "100 continue\n101 Switching Protocols\n200 OK\n201 Created\n202 Accepted\n"
    "203 Non-Authoritative Information\n204 No Content\n205 Reset Content\n206 Partial Content\n"
    "300 Multiple Choices\n301 Moved Permanently\n302 Found\n303 See Other\n304 Not Modified\n"
    "305 Use Proxy\n307 Temporary Redirect\n400 Bad Request\n401 Unauthorized\n"
    "402 Payment Required\n403 Forbidden\n404 Not Found\n405 Method Not Allowed\n"
    "406 Not Acceptable\n407 Proxy Authentication Required\n408 Request Time-out\n409 Conflict\n"
    "410 Gone\n411 Length Required\n412 Precondition Failed\n413 Request Entity Too Large\n"
    "414 Request-URI Too Large\n415 Unsupported Media Type\n"
    "416 Requested range not satisfiable\n417 Expectation Failed\n500 Internal Server Error\n"
    "501 Not Implemented\n502 Bad Gateway\n503 Service Unavailable\n504 Gateway Time-out\n"
    "505 HTTP Version not supported\n";

std::string usualReason(uint32_t code) {
  const std::string number = std::to_string(code);
  const size_t line = number.size() == 3 ? kReasons.find(number) : kNone;
  if (line == kNone) {
    return "";
  }
  const size_t start = line + number.size() + 1;
  return std::string(kReasons.substr(start, kReasons.find('\n', start) - start));
}

struct Message {
  std::string protocol = "HTTP/1.1";
  std::string status = "200 OK";
  uint32_t code = 200;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;

  void setStatus(uint32_t newCode, const char* reason) {
    code = newCode;
    status = std::to_string(code) + " " + (reason != nullptr ? reason : usualReason(code));
  }
  std::string text() const {
    std::string out = protocol + " " + status + "\r\n";
    for (const auto& [name, value] : headers) {
      out.append(name).append(": ").append(value).append("\r\n");
    }
    return out + "\r\n" + body;
  }
};

// --- The steps ---

struct Step {
  char kind;
  std::string text;

  uint32_t number() const {
    uint32_t value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
  }
  // What follows the mark, or null without one.
  const char* behind(char mark) const {
    const size_t at = text.find(mark);
    return at == kNone ? nullptr : text.c_str() + at + 1;
  }
};

std::vector<Step> stepsOf(std::string_view input) {
  std::vector<Step> steps;
  while (!input.empty()) {
    const size_t length = std::min(input.find('\n'), input.size());
    const std::string line(input.substr(0, length));
    if (!line.empty()) {
      steps.push_back({line[0], line.substr(1, line.find('\0', 1) - 1)});
    }
    input.remove_prefix(std::min(length + 1, input.size()));
  }
  return steps;
}

class Response : public Made<webclient::CHTTPResponse, IHTTPResponse> {
 public:
  // False: memory was short.
  bool run(const Step& step) {
    switch (step.kind) {
      case 'S':
        return setStatus(step.number(), step.behind(' '));
      case 'P':
        return keep(get().setProtocol(step.text.c_str()), model_.protocol, step.text);
      case 'B':
        return keep(get().setBody(step.text.c_str()), model_.body, step.text);
      case 'H':
        return addHeader(step.text.substr(0, step.text.find(':')), step.behind(':'));
      case 'W':
        return serialize(step.text.empty() ? 0 : step.number() % kMostCapacity, step.text.empty());
      default:
        return true;
    }
  }

  // The response itself is as the model says.
  void finish() { require(serialize(0, true), "a response that can be written"); }

 private:
  static bool keep(int32_t result, std::string& field, const std::string& value) {
    require(result == kOk || result == kOutOfMemory, "a text is taken");
    field = result == kOk ? value : field;
    return result == kOk;
  }

  bool setStatus(uint32_t code, const char* reason) {
    const int32_t result = get().setStatus(code, reason);
    const bool isValid = code <= kHttpMaxStatus;
    if (isValid && result != kOutOfMemory) {
      model_.setStatus(code, reason);
    }
    require(result == (isValid ? kNotImplemented : kFail) || (isValid && result == kOutOfMemory),
            "the result of a status");
    require(get().getStatusCode() == model_.code, "the same code");
    return result != kOutOfMemory;
  }

  bool addHeader(const std::string& name, const char* value) {
    const int32_t result = get().addHeader(name.c_str(), value);
    if (value == nullptr) {
      require(result == kFail, "a header without a value is refused");
      return true;
    }
    if (result == kOutOfMemory) {
      return false;
    }
    require(result == kOk, "a header is taken");
    model_.headers.emplace_back(trimmed(name), trimmed(value));
    return true;
  }

  bool serialize(uint64_t capacity, bool withoutBlock) {
    uint8_t* const block =
        withoutBlock ? nullptr : static_cast<uint8_t*>(startedModule().Allocate(capacity));
    if (block == nullptr && !withoutBlock) {
      return false;
    }
    uint8_t* buffer = block;
    uint64_t size = capacity;
    const int32_t result = get().serialize(&buffer, &size);
    if (result == kOk) {
      model_.headers.emplace_back("Content-Length", std::to_string(model_.body.size()));
      const std::string expected = model_.text();
      require(size == expected.size(), "the same length");
      require(std::memcmp(buffer, expected.data(), size) == 0, "the same bytes");
      require(withoutBlock || capacity < size || buffer == block, "a large enough block stays");
    } else {
      require(result == kOutOfMemory && buffer == block && size == capacity,
              "the caller's block stays");
    }
    startedModule().Free(buffer);
    return result == kOk;
  }

  Message model_;
};

void build(const std::vector<Step>& steps) {
  traceLevel = 5;
  Response response;
  for (const Step& step : steps) {
    require(response.run(step), "a step without a failed allocation");
  }
  response.finish();
  traceLevel = 0;
}

void buildFailing(const std::vector<Step>& steps, uint64_t n) {
  Response response;
  const FailingAllocation failing(n);
  for (const Step& step : steps) {
    const bool done = response.run(step);
    require(done != failing.hasFailed(), "out of memory is told, and only then");
    if (!done) {
      return;  // of headers that were lost the model knows nothing
    }
  }
}

void check(std::string_view input) {
  const std::vector<Step> steps = stepsOf(input);
  build(steps);
  buildFailing(steps, seedOf(input, 0) % (4 * steps.size() + 4) + 1);
}

}  // namespace
}  // namespace vexa::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  return vexa::fuzz::checkInputOfModule(data, size, vexa::fuzz::check);
}
