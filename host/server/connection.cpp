#include "server/connection.h"

#include <asio/write.hpp>
#include <utility>

namespace vexahost {
namespace {

using std::chrono::milliseconds;

// For a request to come, and for the next one to begin.
constexpr milliseconds kRequestTime{10'000};
// What a client may send ahead while it is answered.
constexpr size_t kMostAhead = 64 * 1024;
constexpr size_t kSmallInput = 16 * 1024;
constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";

}  // namespace

Connection::Connection(asio::ip::tcp::socket socket, Endpoint& endpoint,
                       ConnectionRegistry& registry)
    : socket_(std::move(socket)),
      timer_(socket_.get_executor()),
      endpoint_(endpoint),
      registry_(registry),
      message_(endpoint.module()) {
  registry_.add(*this);
}

Connection::~Connection() {
  endListening();
  endpoint_.budget().give(input_.size());
  endpoint_.answers().give(held_);
  registry_.remove(*this);
}

void Connection::start() {
  asio::error_code ignored;
  socket_.set_option(asio::ip::tcp::no_delay(true), ignored);
  beIdle();
  read();
}

void Connection::abort() {
  state_ = State::kClosed;
  endListening();
  asio::error_code ignored;
  socket_.close(ignored);
  timer_.cancel();
}

std::optional<Connection::Clock::time_point> Connection::clientsTurnSince() const {
  const bool isClientsTurn =
      state_ == State::kReading || state_ == State::kWriting || state_ == State::kDraining;
  return isClientsTurn ? std::optional(begun_) : std::nullopt;
}

// --- reading -----------------------------------------------------------------------------------

void Connection::read() {
  if (isReading_) {
    return;
  }
  isReading_ = true;
  socket_.async_read_some(asio::buffer(piece_),
                          [self = shared_from_this()](const asio::error_code& error, size_t count) {
                            self->take(error, count);
                          });
}

void Connection::take(const asio::error_code& error, size_t count) {
  isReading_ = false;
  if (state_ == State::kClosed || (state_ == State::kWriting && error)) {
    return;  // what is being written may still arrive; the next read fails again
  }
  if (error) {
    return abort();
  }
  if (state_ == State::kDraining) {
    return read();
  }
  const bool isNewRequest = isIdle();
  if (!endpoint_.budget().take(count)) {
    return state_ == State::kReading ? refuse({503, "too many unfinished requests; try again"})
                                     : abort();
  }
  input_.append(piece_.data(), count);
  if (state_ != State::kReading) {
    return input_.size() > kMostAhead ? abort() : (state_ == State::kWriting ? void() : read());
  }
  if (isNewRequest) {
    begun_ = Clock::now();
    expireAfter(kRequestTime);
  }
  advance();
}

// Goes as far as the bytes lead that are here.
void Connection::advance() {
  if (!head_ && !takeHead()) {
    return;
  }
  if (input_.size() < head_->contentLength.value_or(0)) {
    return expectBody();
  }
  handle();
}

// False: there is no head yet, or it was refused.
bool Connection::takeHead() {
  if (input_.empty()) {
    read();
    return false;
  }
  switch (scanner_.scan(input_)) {
    case HeadScanner::Result::kMoreNeeded:
      read();
      return false;
    case HeadScanner::Result::kRefused:
      refuse(scanner_.refusal());
      return false;
    case HeadScanner::Result::kComplete:
      break;
  }
  block_.assign(input_, scanner_.start(), scanner_.end() - scanner_.start());
  auto head = parseHead(block_, vexa::kHttpMaxBody);
  if (const auto* const refusal = std::get_if<Refusal>(&head)) {
    refuse(*refusal);
    return false;
  }
  head_ = std::get<Head>(head);
  consume(scanner_.end());
  letIn();
  return state_ == State::kReading;
}

void Connection::letIn() {
  if (head_->origin && endpoint_.policy().isAllowed(*head_->origin)) {
    origin_ = *head_->origin;
  }
  if (const std::optional<Refusal> refusal = endpoint_.policy().judge(*head_)) {
    refuse(*refusal);
  }
}

void Connection::expectBody() {
  if (!head_->expectsContinue || wasContinued_ || head_->minorVersion == 0 || !input_.empty()) {
    return read();
  }
  wasContinued_ = true;
  state_ = State::kWriting;
  asio::async_write(socket_, asio::buffer(kContinue),
                    [self = shared_from_this()](const asio::error_code& error, size_t) {
                      if (error || self->state_ != State::kWriting) {
                        return self->abort();
                      }
                      self->state_ = State::kReading;
                      self->advance();
                    });
}

// Ready for a request of which nothing has come yet: holds little memory.
void Connection::beIdle() {
  begun_ = Clock::now();
  expireAfter(kRequestTime);
  if (input_.capacity() > kSmallInput && input_.empty()) {
    std::string().swap(input_);
  }
}

void Connection::consume(size_t count) {
  input_.erase(0, count);
  endpoint_.budget().give(count);
}

// --- time --------------------------------------------------------------------------------------

void Connection::expireAfter(milliseconds time) {
  deadline_ = Clock::now() + time;
  if (deadline_ < armed_) {
    armTimer();
  }
}

void Connection::armTimer() {
  armed_ = deadline_;
  timer_.expires_at(armed_);
  // Only a weak hold: a client that has gone is not kept for its timer.
  timer_.async_wait([weak = weak_from_this()](const asio::error_code& error) {
    const auto self = weak.lock();
    if (!self || error || self->state_ == State::kClosed) {
      return;
    }
    self->armed_ = Clock::time_point::max();
    Clock::now() < self->deadline_ ? self->armTimer() : self->expired();
  });
}

void Connection::expired() {
  if (isIdle()) {
    return abort();
  }
  switch (state_) {
    case State::kReading:
      return refuse({408, "the request did not come in time"});
    case State::kWaiting:
      return askAgain();
    case State::kStreaming:
      return isSendingNews_ ? abort() : writeStream(": still here\n\n");
    default:
      return abort();
  }
}

}  // namespace vexahost
