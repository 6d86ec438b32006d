#include "server/framing.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "harness.h"

// A stream of bytes as a client may send it, cut into requests: once as a whole, once in pieces of
// every size that the input makes up. Both ways find the same requests and the same refusal, and
// what a head tells of stands in its block.
namespace vexa::fuzz {
namespace {

constexpr uint64_t kMostBody = 100;

struct Request {
  std::string block;
  std::string body;
  uint32_t refusal = 0;  // 0: let in

  friend bool operator==(const Request&, const Request&) = default;
};

void requireInside(std::string_view part, std::string_view block) {
  require(part.data() >= block.data() && part.data() + part.size() <= block.data() + block.size(),
          "a part of the block");
}

void requireSound(const vexahost::Head& head, std::string_view block) {
  require(!head.method.empty() && head.method.find(' ') == std::string_view::npos, "a method");
  require(!head.target.empty() && head.target.find(' ') == std::string_view::npos, "a target");
  require(head.minorVersion <= 9, "HTTP/1 and a digit");
  require(!head.contentLength || *head.contentLength <= kMostBody, "no body over the limit");
  require(head.host.has_value() || head.minorVersion == 0, "HTTP/1.1 names its host");
  require(block.substr(0, head.method.size()) == head.method, "the method comes first");
  for (const auto part : {head.method, head.target, head.afterTarget}) {
    requireInside(part, block);
  }
  for (const auto& part : {head.host, head.origin, head.authorization, head.fetchSite,
                           head.requestedMethod, head.requestedHeaders, head.privateNetwork}) {
    requireInside(part.value_or(block), block);
  }
}

// What a connection does with what has come.
class Reader {
 public:
  void take(std::string_view piece) {
    input_ += piece;
    while (!isOver_ && advance()) {
    }
  }
  const std::vector<Request>& requests() const { return requests_; }

 private:
  bool advance() {
    if (!bodyLength_ && (input_.empty() || !takeHead())) {
      return false;
    }
    if (input_.size() < *bodyLength_) {
      return false;
    }
    requests_.push_back({block_, input_.substr(0, *bodyLength_), 0});
    input_.erase(0, *bodyLength_);
    bodyLength_.reset();
    return true;
  }

  bool takeHead() {
    switch (scanner_.scan(input_)) {
      case vexahost::HeadScanner::Result::kMoreNeeded:
        return false;
      case vexahost::HeadScanner::Result::kRefused:
        return refuse(scanner_.refusal());
      case vexahost::HeadScanner::Result::kComplete:
        break;
    }
    require(scanner_.start() <= scanner_.end() && scanner_.end() <= input_.size(), "a block");
    block_ = input_.substr(scanner_.start(), scanner_.end() - scanner_.start());
    const auto read = vexahost::parseHead(block_, kMostBody);
    if (const auto* const refusal = std::get_if<vexahost::Refusal>(&read)) {
      return refuse(*refusal);
    }
    const auto& head = std::get<vexahost::Head>(read);
    requireSound(head, block_);
    bodyLength_ = head.contentLength.value_or(0);
    input_.erase(0, scanner_.end());
    scanner_ = {};
    return true;
  }

  bool refuse(const vexahost::Refusal& refusal) {
    require(refusal.status >= 400 && refusal.status < 600 && refusal.detail != nullptr,
            "a refusal says why");
    requests_.push_back({{}, {}, refusal.status});
    isOver_ = true;
    return false;
  }

  std::string input_;
  vexahost::HeadScanner scanner_;
  std::string block_;
  std::optional<size_t> bodyLength_;  // of the request whose head is here
  std::vector<Request> requests_;
  bool isOver_ = false;
};

void check(std::string_view input) {
  Reader whole;
  whole.take(input);
  for (const uint64_t most : {1u, 7u, 40u}) {
    Reader pieces;
    uint64_t seed = seedOf(input, most);
    for (std::string_view rest = input; !rest.empty();) {
      const size_t size = std::min<size_t>(rest.size(), 1 + seed % most);
      seed = seed * 6364136223846793005u + 1442695040888963407u;
      pieces.take(rest.substr(0, size));
      rest.remove_prefix(size);
    }
    require(pieces.requests() == whole.requests(), "the same requests in pieces");
  }
  const auto origin = vexahost::originOf(input);
  requireInside(origin.value_or(input), input);
}

}  // namespace
}  // namespace vexa::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vexa::fuzz::check({reinterpret_cast<const char*>(data), size});
  return 0;
}
