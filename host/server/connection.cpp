#include "server/connection.h"

#include <cstring>
#include <utility>

#include "vexa/http_response.h"

namespace vexahost {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kRequestTime{10'000};
constexpr milliseconds kPollStep{100};
// What a client may still be sending when it has been answered already is read for this long.
constexpr milliseconds kDrainTime{2'000};
constexpr std::string_view kHeaderEnd = "\r\n\r\n";

}  // namespace

Connection::Connection(asio::ip::tcp::socket socket, Endpoint& endpoint, size_t& count)
    : socket_(std::move(socket)),
      timer_(socket_.get_executor()),
      endpoint_(endpoint),
      count_(count) {
  ++count_;
}

Connection::~Connection() { --count_; }

void Connection::start() {
  request_ = endpoint_.module().create<vexa::IHTTPRequest>(vexa::kHttpRequestClassName,
                                                           vexa::IID_IHTTPRequest);
  startTimer(kRequestTime, &Connection::requestTimedOut);
  read();
}

void Connection::refuse() { sendError(503, "too many connections"); }

void Connection::abort() {
  asio::error_code ignored;
  socket_.close(ignored);
  timer_.cancel();
}

void Connection::read() {
  socket_.async_read_some(asio::buffer(input_),
                          [self = shared_from_this()](const asio::error_code& error, size_t count) {
                            if (!error && !self->answering_) {
                              self->take(count);
                            } else if (error) {
                              self->abort();
                            }
                          });
}

void Connection::take(size_t count) {
  noteHeaderEnd(std::string_view(input_.data(), count));
  const int32_t result = request_->parse(reinterpret_cast<const uint8_t*>(input_.data()), count);
  if (result == vexa::kMoreNeeded) {
    return read();
  }
  if (result == vexa::kOutOfMemory) {
    return sendError(500, "out of memory");
  }
  if (vexa::failed(result)) {
    return headerEnd_ == kHeaderEnd.size() ? sendError(413, "the body is too large")
                                           : sendError(400, "a header line is too long");
  }
  if (*request_->getURI() == '\0') {
    return sendError(400, "no request line that can be read");
  }
  turn_.changesBefore = endpoint_.changes();
  tryAnswer();
}

void Connection::noteHeaderEnd(std::string_view bytes) {
  for (const char c : bytes) {
    if (headerEnd_ == kHeaderEnd.size()) {
      return;
    }
    headerEnd_ = c == kHeaderEnd[headerEnd_] ? headerEnd_ + 1 : (c == '\r' ? 1 : 0);
  }
}

void Connection::tryAnswer() {
  std::optional<Reply> reply;
  try {
    reply = endpoint_.answer(*request_.get(), turn_);
  } catch (const HostError& error) {
    return sendError(500, error.what());
  }
  if (reply) {
    return send(std::move(*reply));
  }
  turn_.waited += kPollStep;
  startTimer(kPollStep, &Connection::tryAnswer);
}

void Connection::requestTimedOut() { sendError(408, "the request did not come in time"); }

void Connection::sendError(uint32_t status, std::string_view message) {
  try {
    send(errorReply(endpoint_.module(), status, message));
  } catch (const HostError&) {
    abort();  // not even memory for an error
  }
}

void Connection::send(Reply reply) {
  answering_ = true;
  timer_.cancel();
  if (reply.status != 204) {
    reply.headers.emplace_back("Content-Type", reply.contentType);
  }
  reply.headers.emplace_back("Connection", "close");
  serialise(reply);
  startTimer(kRequestTime, &Connection::abort);
  asio::async_write(socket_, asio::buffer(output_->get(), outputSize_),
                    [self = shared_from_this()](const asio::error_code& error, size_t) {
                      if (error) {
                        return self->abort();
                      }
                      asio::error_code ignored;
                      self->socket_.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
                      self->startTimer(kDrainTime, &Connection::abort);
                      self->drain();
                    });
}

void Connection::serialise(const Reply& reply) {
  const Module& module = endpoint_.module();
  const auto response =
      module.create<vexa::IHTTPResponse>(vexa::kHttpResponseClassName, vexa::IID_IHTTPResponse);
  // It returns a constant failure code, also when it set the status.
  (void)response->setStatus(reply.status, nullptr);
  for (const auto& [name, value] : reply.headers) {
    check(response->addHeader(name.c_str(), value.c_str()), "building the response");
  }
  check(response->setBody(reply.body.c_str()), "building the response");
  output_.emplace(module);
  outputSize_ = 0;
  check(response->serialize(output_->put(), &outputSize_), "building the response");
  if (request_ && std::string_view(request_->getMethod()) == "HEAD") {
    outputSize_ -= reply.body.size();  // the length is announced, the body left out
  }
}

// Reads on until the client closes: closing with unread bytes would take the answer back.
void Connection::drain() {
  socket_.async_read_some(asio::buffer(input_),
                          [self = shared_from_this()](const asio::error_code& error, size_t) {
                            return error ? self->abort() : self->drain();
                          });
}

void Connection::startTimer(milliseconds time, void (Connection::*action)()) {
  timer_.expires_after(time);
  // Only a weak hold: a client that has gone is not kept for its timer.
  timer_.async_wait([weak = weak_from_this(), action](const asio::error_code& error) {
    if (const auto self = weak.lock(); self && !error) {
      (self.get()->*action)();
    }
  });
}

}  // namespace vexahost
