#pragma once

#include <array>
#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "server/endpoint.h"
#include "server/framing.h"
#include "server/message.h"
#include "server/reply.h"
#include "server/routes.h"

namespace vexahost {

class Connection;

// The open connections, for whoever must end them.
class ConnectionRegistry {
 public:
  virtual void add(Connection& connection) = 0;
  virtual void remove(Connection& connection) = 0;

 protected:
  ~ConnectionRegistry() = default;
};

// One client, request after request. It lives as long as an operation of it is under way.
//
//   kReading   a request comes, or none yet        -> kWriting, kWaiting, kWorking, kStreaming
//   kWaiting   for a change (a long poll)          -> kWriting
//   kWorking   the worker makes the answer         -> kWriting
//   kWriting   the answer goes                     -> kReading, kDraining
//   kStreaming changes are told as they come
//   kDraining  answered for good; what the client still sends is dropped until it closes
//   kClosed
//
// While it waits, works or streams a read is pending, so that it ends when the client leaves.
class Connection final : public std::enable_shared_from_this<Connection>, private ChangeListener {
 public:
  using Clock = std::chrono::steady_clock;

  Connection(asio::ip::tcp::socket socket, Endpoint& endpoint, ConnectionRegistry& registry);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection();

  void start();
  // Drops the client, whatever it is waiting for.
  void abort();
  // Since when the client is the one to go on: it has its place and asks for nothing, sends its
  // request or takes its answer. Nothing while it is the one that waits.
  std::optional<Clock::time_point> clientsTurnSince() const;

 private:
  enum class State { kReading, kWaiting, kWorking, kWriting, kStreaming, kDraining, kClosed };

  // Reading: connection.cpp.
  bool isIdle() const { return state_ == State::kReading && !head_ && input_.empty(); }
  void read();
  void take(const asio::error_code& error, size_t count);
  void advance();
  bool takeHead();
  void letIn();
  void expectBody();
  void beIdle();
  void consume(size_t count);

  // Time: connection.cpp. One timer, which is set anew only when it fires or would fire too late.
  void expireAfter(std::chrono::milliseconds time);
  void armTimer();
  void expired();

  // Answering: answering.cpp.
  void handle();
  template <class Step>
  void guarded(Step step);
  void route();
  int32_t feedRequest();
  void ask();
  void askAgain();
  void askWorker(const Route& route);
  void follow(Outcome outcome);
  void fail(uint32_t status, std::string_view detail);
  void refuse(const Refusal& refusal);
  void send(Reply reply);
  bool mayHoldAnswer();
  void sent();
  void beReadyForNext();
  void drain();
  bool isHead() const;
  void logAnswer(uint32_t status);

  // Changes: streaming.cpp.
  void changed() override;
  void wait(const Wait& wait);
  void startStream();
  void sendNews();
  void writeStream(std::string text);
  void endListening();

  asio::ip::tcp::socket socket_;
  asio::steady_timer timer_;
  Clock::time_point deadline_;
  Clock::time_point armed_ = Clock::time_point::max();
  Endpoint& endpoint_;
  ConnectionRegistry& registry_;
  State state_ = State::kReading;
  bool isReading_ = false;

  std::array<char, 16384> piece_;
  std::string input_;  // what has come and was not used yet; counted in the budget
  HeadScanner scanner_;
  std::string block_;  // the header block of the request that head_ tells of
  std::optional<Head> head_;
  bool wasContinued_ = false;
  uint32_t requests_ = 0;
  bool isClosing_ = false;   // this answer is the last one
  Clock::time_point begun_;  // the time without a request, the request, the way of its answer

  vexa::InterfaceHolder<vexa::IHTTPRequest> request_;
  const Route* route_ = nullptr;
  std::string origin_;  // of the page, when it may read the answer
  uint32_t changesBefore_ = 0;
  std::optional<Wait> wait_;
  bool isListening_ = false;

  Message message_;
  size_t held_ = 0;  // of the message, when it is a large one
  std::string stream_;
  bool isSendingNews_ = false;
  bool hasNews_ = false;
};

}  // namespace vexahost
