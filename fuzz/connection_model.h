#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "server/framing.h"

namespace vexa::fuzz {

// What one connection of the endpoint has to answer to what its client sends, and when it gives up.
class ConnectionModel {
 public:
  struct Answer {
    uint32_t status = 0;  // 0: any
    std::string method;   // in capitals: the module knows it in any case
    bool isClosing = false;
    bool isContinued = false;  // the client was told to send the body
    uint64_t bodyLength = 0;   // of the request
    bool isEcho = false;
  };
  using Judge = std::function<std::optional<vexahost::Refusal>(const vexahost::Head& head)>;
  using Clock = std::chrono::steady_clock;

  ConnectionModel(Judge judge, Clock::time_point now) : judge_(std::move(judge)), begun_(now) {}

  void take(std::string_view bytes, Clock::time_point now) {
    if (isOver_ || bytes.empty()) {
      return;
    }
    if (isIdle()) {
      begun_ = now;
    }
    input_ += bytes;
    advanceAll(now);
  }
  void passTime(Clock::time_point now) {
    if (waitsUntil_) {
      if (now >= *waitsUntil_) {
        waitsUntil_.reset();
        isOver_ = answers_.back().isClosing;
        begun_ = now;
        advanceAll(now);
      }
      return;
    }
    if (isOver_ || certain_ || now - begun_ < kRequestTime) {
      return;
    }
    if (!isIdle()) {
      refuse(408);
    }
    isOver_ = true;
  }
  // The client sends no more, and whom it leaves waiting is not answered.
  void end() {
    isOver_ = true;
    if (std::exchange(waitsUntil_, std::nullopt)) {
      isContinued_ = answers_.back().isContinued;
      answers_.pop_back();
    }
  }

  const std::vector<Answer>& answers() const { return answers_; }
  // So many of them must come. Behind a request that waits for a change in another way than that of
  // kWaiting, or may be told of all changes, it cannot be said what has to.
  bool isCertain() const { return !certain_; }
  size_t certain() const { return certain_.value_or(answers_.size()); }
  // Behind the last of them the client was told to send a body, which never came whole.
  bool isContinued() const { return isContinued_; }

 private:
  static constexpr std::chrono::seconds kRequestTime{10};
  static constexpr std::chrono::seconds kWaitTime{20};
  static constexpr std::string_view kWaiting = "/v1/status?wait=20";
  static constexpr size_t kMostRequests = 1000;
  static constexpr uint64_t kMostBody = 1024 * 1024;

  std::string method() const {
    std::string text(head_->method);
    for (char& c : text) {
      c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    return text;
  }
  bool isIdle() const { return !head_ && input_.empty(); }

  void advanceAll(Clock::time_point now) {
    while (!isOver_ && !waitsUntil_ && advance(now)) {
    }
  }

  bool advance(Clock::time_point now) {
    if (!head_ && (input_.empty() || !takeHead())) {
      return false;
    }
    const uint64_t length = head_->contentLength.value_or(0);
    if (input_.size() < length) {
      isContinued_ =
          isContinued_ || (head_->expectsContinue && head_->minorVersion != 0 && input_.empty());
      return false;
    }
    input_.erase(0, static_cast<size_t>(length));
    answer(length);
    if (head_->target == kWaiting && (method() == "GET" || method() == "HEAD")) {
      waitsUntil_ = now + kWaitTime;
      isOver_ = false;
    }
    head_.reset();
    begun_ = now;
    return true;
  }

  bool takeHead() {
    vexahost::HeadScanner scanner;
    switch (scanner.scan(input_)) {
      case vexahost::HeadScanner::Result::kMoreNeeded:
        return false;
      case vexahost::HeadScanner::Result::kRefused:
        return refuse(scanner.refusal().status);
      case vexahost::HeadScanner::Result::kComplete:
        break;
    }
    block_ = input_.substr(scanner.start(), scanner.end() - scanner.start());
    const auto read = vexahost::parseHead(block_, kMostBody);
    if (const auto* const refusal = std::get_if<vexahost::Refusal>(&read)) {
      return refuse(refusal->status);
    }
    head_ = std::get<vexahost::Head>(read);
    input_.erase(0, scanner.end());
    const auto refusal = judge_(*head_);
    return refusal ? refuse(refusal->status) : true;
  }

  void answer(uint64_t bodyLength) {
    const std::string_view target = head_->target;
    const auto has = [target](std::string_view part) {
      return target.find(part) != std::string_view::npos;
    };
    const bool mayWait = has("status?") && target != kWaiting;
    if (!certain_ && (mayWait || has("events") || has("%"))) {
      certain_ = answers_.size();
    }
    const bool isLast = !head_->keepAlive || answers_.size() + 1 == kMostRequests;
    answers_.push_back({0, method(), isLast, std::exchange(isContinued_, false), bodyLength,
                        target == "/v1/echo"});
    isOver_ = isLast;
  }

  bool refuse(uint32_t status) {
    const bool isContinued = std::exchange(isContinued_, false);
    answers_.push_back({status, head_ ? method() : "", true, isContinued, 0, false});
    isOver_ = true;
    return false;
  }

  Judge judge_;
  Clock::time_point begun_;
  std::string input_;
  std::string block_;  // head_ points into it
  std::optional<vexahost::Head> head_;
  bool isContinued_ = false;
  std::optional<Clock::time_point> waitsUntil_;  // a change, for the last of the answers
  std::vector<Answer> answers_;
  std::optional<size_t> certain_;
  bool isOver_ = false;
};

}  // namespace vexa::fuzz
