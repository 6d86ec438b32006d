#include <asio/executor_work_guard.hpp>
#include <asio/post.hpp>
#include <asio/write.hpp>
#include <utility>

#include "server/connection.h"
#include "server/dispatch.h"
#include "server/problem.h"

namespace vexahost {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kWriteTime{10'000};
// Longer than a proxy script may take to be fetched.
constexpr milliseconds kWorkTime{120'000};
// What a client may still be sending when it has been answered for good is read for this long.
constexpr milliseconds kDrainTime{2'000};
constexpr uint32_t kMostRequests = 1000;
// Answers up to here always find room.
constexpr size_t kSmallAnswer = 64 * 1024;

}  // namespace

// The request is here, head and body.
void Connection::handle() {
  guarded([this] { route(); });
}

// What the module fails at is the client's to know, and no other client's concern.
template <class Step>
void Connection::guarded(Step step) {
  try {
    step();
  } catch (const HostError& error) {
    fail(500, error.what());
  }
}

// The module reads it, a route answers it.
void Connection::route() {
  const int32_t result = feedRequest();
  if (result == vexa::kOutOfMemory) {
    return fail(500, "out of memory");
  }
  if (result != vexa::kOk) {
    return fail(400, "the request cannot be read");
  }
  if (*request_->getURI() == '\0') {
    return fail(501, "this method is not known");
  }
  auto goal = dispatch(endpoint_, *head_, *request_.get());
  if (auto* const reply = std::get_if<Reply>(&goal)) {
    return send(std::move(*reply));
  }
  route_ = std::get<const Route*>(goal);
  changesBefore_ = endpoint_.events().changes();
  route_->isSlow ? askWorker(*route_) : ask();
}

// Exactly the bytes of this request; a target in absolute form without its host.
int32_t Connection::feedRequest() {
  request_ = endpoint_.module().make<vexa::IHTTPRequest>();
  const auto feed = [this](std::string_view bytes) {
    return request_->parse(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  };
  int32_t result = vexa::kOk;
  if (head_->targetHost) {
    feed(std::string(head_->method) + ' ' + std::string(head_->target));
    result = feed(head_->afterTarget);
  } else {
    result = feed(block_);
  }
  const size_t length = head_->contentLength.value_or(0);
  if (result == vexa::kMoreNeeded && length != 0) {
    result = feed(std::string_view(input_).substr(0, length));
  }
  consume(length);
  return result;
}

void Connection::ask() {
  follow(route_->handler({endpoint_, *request_.get(), changesBefore_, false}));
}

// A change has come, or the time is up.
void Connection::askAgain() {
  endListening();
  guarded([this] { follow(route_->handler({endpoint_, *request_.get(), changesBefore_, true})); });
}

// The connection waits for its answer without touching the request.
void Connection::askWorker(const Route& route) {
  state_ = State::kWorking;
  expireAfter(kWorkTime);
  read();
  const auto work = [&route, self = shared_from_this(),
                     guard = asio::make_work_guard(socket_.get_executor())]() mutable {
    Outcome outcome;
    try {
      outcome = route.handler({self->endpoint_, *self->request_.get(), 0, false});
    } catch (const HostError& error) {
      outcome = problem(self->endpoint_.module(), 500, error.what());
    }
    // The connection ends in its own thread.
    asio::post(guard.get_executor(),
               [self = std::move(self), outcome = std::move(outcome)]() mutable {
                 if (self->state_ == State::kWorking) {
                   self->guarded([&] { self->follow(std::move(outcome)); });
                 }
               });
  };
  if (!endpoint_.worker().post(work)) {
    fail(503, "too many such questions; try again");
  }
}

void Connection::follow(Outcome outcome) {
  if (auto* const reply = std::get_if<Reply>(&outcome)) {
    return send(std::move(*reply));
  }
  const auto* const wish = std::get_if<Wait>(&outcome);
  if (wish == nullptr && isHead()) {
    return send({.contentType = route_->answerType});
  }
  isListening_ = endpoint_.events().add(*this);
  if (!isListening_) {
    return fail(503, "too many wait already; try again");
  }
  wish != nullptr ? wait(*wish) : startStream();
}

void Connection::fail(uint32_t status, std::string_view detail) {
  try {
    Reply reply = problem(endpoint_.module(), status, detail);
    if (status == 503) {
      reply.headers.emplace_back("Retry-After", "1");
    }
    send(std::move(reply));
  } catch (const HostError&) {
    abort();  // not even memory for an error
  }
}

// Where the next request would begin is not known any more.
void Connection::refuse(const Refusal& refusal) {
  isClosing_ = true;
  if (!head_) {
    const std::optional<std::string_view> origin = originOf(block_.empty() ? input_ : block_);
    if (origin && endpoint_.policy().isAllowed(*origin)) {
      origin_ = *origin;
    }
  }
  fail(refusal.status, refusal.detail);
}

void Connection::send(Reply reply) {
  state_ = State::kWriting;
  request_ = {};
  isClosing_ = isClosing_ || !head_ || !head_->keepAlive || requests_ + 1 >= kMostRequests;
  addCommonHeaders(endpoint_, reply, origin_);
  if (isClosing_) {
    reply.headers.emplace_back("Connection", "close");
  } else if (head_->minorVersion == 0) {
    reply.headers.emplace_back("Connection", "keep-alive");
  }
  message_.write(endpoint_.module(), reply,
                 reply.status == 204 ? Message::Part::kWithoutLength
                 : isHead()          ? Message::Part::kWithoutBody
                                     : Message::Part::kWhole);
  if (!mayHoldAnswer()) {
    return fail(503, "too many answers wait to be read; try again");
  }
  ++requests_;
  logAnswer(reply.status);
  begun_ = Clock::now();
  expireAfter(kWriteTime);
  const std::string_view bytes = message_.view();
  asio::async_write(socket_, asio::buffer(bytes),
                    [self = shared_from_this()](const asio::error_code& error, size_t) {
                      if (error || self->state_ == State::kClosed) {
                        return self->abort();
                      }
                      self->sent();
                    });
}

// Clients that do not read would otherwise fill the memory with what they asked for.
bool Connection::mayHoldAnswer() {
  const size_t size = message_.view().size();
  if (size > kSmallAnswer) {
    if (!endpoint_.answers().take(size)) {
      return false;
    }
    held_ = size;
  }
  return true;
}

void Connection::sent() {
  message_.clear(endpoint_.module());
  endpoint_.answers().give(std::exchange(held_, 0));
  if (isClosing_) {
    state_ = State::kDraining;
    asio::error_code ignored;
    socket_.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
    expireAfter(kDrainTime);
    return read();
  }
  beReadyForNext();
  advance();
}

void Connection::beReadyForNext() {
  head_.reset();
  scanner_ = {};
  block_.clear();
  origin_.clear();
  wasContinued_ = false;
  state_ = State::kReading;
  beIdle();
}

bool Connection::isHead() const { return head_ && equalIgnoringCase(head_->method, "HEAD"); }

void Connection::logAnswer(uint32_t status) {
  if (!endpoint_.log().isOn()) {
    return;
  }
  LogEntry entry{.time = std::chrono::system_clock::now(),
                 .client = {},
                 .method = {},
                 .target = {},
                 .origin = {},
                 .status = status,
                 .bytes = message_.view().size()};
  asio::error_code ignored;
  const auto client = socket_.remote_endpoint(ignored);
  entry.client = client.address().to_string() + ':' + std::to_string(client.port());
  if (head_) {
    entry.method = head_->method;
    entry.target = head_->target;
    entry.origin = head_->origin.value_or("");
  }
  entry.duration = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begun_);
  endpoint_.log().write(entry);
}

}  // namespace vexahost
