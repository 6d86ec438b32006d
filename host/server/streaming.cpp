#include <asio/write.hpp>
#include <utility>

#include "server/change_text.h"
#include "server/connection.h"
#include "server/dispatch.h"

namespace vexahost {
namespace {

using std::chrono::milliseconds;

// A comment now and then keeps the way open and finds clients that are gone.
constexpr milliseconds kHeartbeat{15'000};

}  // namespace

void Connection::endListening() {
  if (std::exchange(isListening_, false)) {
    endpoint_.events().remove(*this);
  }
  wait_.reset();
}

void Connection::changed() {
  if (state_ == State::kStreaming) {
    sendNews();
  } else if (state_ == State::kWaiting && wait_->since != endpoint_.events().changes()) {
    askAgain();
  }
}

void Connection::wait(const Wait& wait) {
  state_ = State::kWaiting;
  wait_ = wait;
  expireAfter(wait.time);
  read();
}

void Connection::startStream() {
  isClosing_ = true;
  Reply reply{.contentType = route_->answerType};
  addCommonHeaders(endpoint_, reply, origin_);
  reply.headers.emplace_back("Connection", "close");
  message_.write(endpoint_.module(), reply, Message::Part::kWithoutLength);
  logAnswer(reply.status);
  stream_ = message_.view();
  message_.clear(endpoint_.module());
  state_ = State::kStreaming;
  read();
  sendNews();
}

// A client that reads slowly is told the newest state only.
void Connection::sendNews() {
  if (isSendingNews_) {
    hasNews_ = true;
    return;
  }
  writeStream(changeEvent(endpoint_.module(), endpoint_.events()));
}

void Connection::writeStream(std::string text) {
  isSendingNews_ = true;
  stream_ += text;
  expireAfter(kHeartbeat);
  asio::async_write(socket_, asio::buffer(stream_),
                    [self = shared_from_this()](const asio::error_code& error, size_t) {
                      if (error || self->state_ != State::kStreaming) {
                        return self->abort();
                      }
                      self->isSendingNews_ = false;
                      self->stream_.clear();
                      if (std::exchange(self->hasNews_, false)) {
                        self->sendNews();
                      }
                    });
}

}  // namespace vexahost
