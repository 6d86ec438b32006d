#include "server/connection.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <asio/io_context.hpp>
#include <filesystem>
#include <future>
#include <memory>

#include "connection_model.h"
#include "harness.h"
#include "response_reader.h"
#include "server/endpoint.h"

// A connection of the endpoint, with the built module, over a socket that follows a script. The
// input is what the client sends; some control characters in it are what it does:
//   1 what was collected is sent now      2 answers are read in small pieces from here on
//   3 eleven seconds pass                 4 nothing more is sent
//   5 the connection is torn down         6 three seconds pass
//   7 stands for the endpoint's token
// Every complete request is answered once and in order, by an answer that a client can read; behind
// the last one comes nothing but the end. Nothing is left of the connection then.
namespace vexa::fuzz {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::seconds;

// What Clock tells: it stands still unless the script moves it.
Clock::time_point now{std::chrono::hours(1)};

// The endpoint, which serves all inputs.
struct Served : vexahost::ConnectionRegistry {
  static constexpr uint16_t kPort = 8420;

  Served()
      : module({.module = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "../bin" /
                          kModuleFile}),
        endpoint(context, module, options(), kPort),
        liveBlocks(module.runtimeFunction<decltype(velmora_live_blocks)>("velmora_live_blocks")) {}

  static vexahost::ServeOptions options() {
    vexahost::ServeOptions options;
    options.allowedOrigins = {"https://*.example.com"};
    return options;
  }

  void add(vexahost::Connection&) override { ++connections; }
  void remove(vexahost::Connection&) override { --connections; }

  // Runs what can be run now, jobs of the worker among it. False: there was nothing.
  bool run() {
    context.restart();
    size_t handled = context.poll();
    std::promise<void> done;
    if (endpoint.worker().post([&done] { done.set_value(); })) {
      done.get_future().wait();
      handled += context.poll();
    }
    return handled != 0;
  }
  // Timers are looked at when one is set that is earlier than all.
  void wakeTimers() {
    asio::steady_timer timer(context, Clock::time_point{});
    timer.async_wait([](const asio::error_code&) {});
    run();
  }

  asio::io_context context{1};
  vexahost::Module module;
  vexahost::Endpoint endpoint;
  decltype(velmora_live_blocks)* liveBlocks;
  int connections = 0;
};

// The other end of a connection.
class Client {
 public:
  explicit Client(Served& served) : served_(served) {
    constexpr int kSmall = 1;  // the system makes the least of it that it knows
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "a pair of sockets");
    setsockopt(ends[1], SOL_SOCKET, SO_SNDBUF, &kSmall, sizeof(kSmall));
    fcntl(ends[0], F_SETFL, O_NONBLOCK);
    end_ = ends[0];
    asio::ip::tcp::socket socket(served.context);
    socket.assign(asio::ip::tcp::v4(), ends[1]);
    std::make_shared<vexahost::Connection>(std::move(socket), served.endpoint, served)->start();
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  ~Client() { close(); }

  void send(std::string_view bytes) {
    // The endpoint may have closed it.
    (void)::send(end_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    settle();
  }
  void sendNoMore() {
    shutdown(end_, SHUT_WR);
    settle();
  }
  void pass(seconds time) {
    now += time;
    served_.wakeTimers();
    settle();
  }
  void close() {
    if (end_ >= 0) {
      ::close(std::exchange(end_, -1));
      served_.run();
    }
  }
  void readSlowly() { isSlow_ = true; }
  void readAll() {
    isSlow_ = false;
    settle();
  }

  ResponseReader received;
  bool isEnded = false;  // the endpoint sends no more

 private:
  void settle() {
    while (served_.run() || (!isSlow_ && receive())) {
    }
    if (isSlow_) {
      receive();
      served_.run();
    }
  }
  bool receive() {
    char bytes[4096];
    constexpr size_t kFew = 100;
    const ssize_t count = recv(end_, bytes, isSlow_ ? kFew : sizeof(bytes), 0);
    isEnded = isEnded || count == 0;
    if (count > 0) {
      received.take({bytes, static_cast<size_t>(count)});
    }
    return count > 0;
  }

  Served& served_;
  int end_ = -1;
  bool isSlow_ = false;
};

// Plays one script, and holds what comes back against what has to.
class Play {
 public:
  explicit Play(Served& served)
      : model_(
            [&served](const vexahost::Head& head) { return served.endpoint.policy().judge(head); },
            now),
        client_(served),
        token_(served.endpoint.token().text()) {}

  void play(std::string_view script) {
    for (const char c : script) {
      if (!act(c)) {
        return finish(false);
      }
    }
    send();
    finish(true);
  }

 private:
  // False: the connection was torn down.
  bool act(char c) {
    switch (c) {
      case 1:
        send();
        return true;
      case 2:
        send();
        client_.readSlowly();
        isSlow_ = true;
        return true;
      case 3:
        pass(seconds(11));
        return true;
      case 4:
        send();
        client_.sendNoMore();
        model_.end();
        return true;
      case 5:
        send();
        return false;
      case 6:
        pass(seconds(3));
        return true;
      case 7:
        collected_ += token_;
        return true;
      default:
        collected_ += c;
        return true;
    }
  }

  void send() {
    if (collected_.empty()) {
      return;
    }
    model_.take(collected_, now);
    client_.send(collected_);
    collected_.clear();
  }
  // An answer that is read too slowly may be given up.
  void pass(seconds time) {
    send();
    mayBeCut_ = mayBeCut_ || isSlow_;
    client_.pass(time);
    model_.passTime(now);
  }

  void finish(bool isWhole) {
    if (isWhole) {
      client_.readAll();
      isSlow_ = false;
      // Longer than anything waits, but for a client that wants to be told of changes.
      for (int i = 0; i < 3; ++i) {
        pass(seconds(130));
      }
    }
    mayBeCut_ = mayBeCut_ || !isWhole;
    compare();
    client_.close();
  }

  void compare() {
    size_t count = 0;
    bool isOver = false;
    for (const ConnectionModel::Answer& answer : model_.answers()) {
      const auto response = client_.received.next(answer.method == "HEAD");
      if (!response) {
        break;
      }
      require(!isOver, "nothing comes behind the last answer");
      isOver = response->isClosing;
      if (count < model_.certain()) {
        requireFits(*response, answer);
      }
      ++count;
    }
    if (mayBeCut_) {
      return;
    }
    require(count >= model_.certain(), "every complete request is answered");
    if (model_.isCertain()) {
      require(client_.received.isContinued() == model_.isContinued(),
              "whom it told to go on is answered, or left in the midst");
      require(client_.received.isAtEnd(), "every answer belongs to a request");
      require(client_.isEnded, "the endpoint ends what is over");
    }
  }

  static void requireFits(const Response& response, const ConnectionModel::Answer& answer) {
    require(answer.status == 0 || response.status == answer.status, "the status");
    require(response.isClosing == answer.isClosing, "the last answer says so");
    require(response.isContinued == answer.isContinued, "who asks is told to go on, and once");
    if (answer.isEcho && response.status == 200 && answer.method != "HEAD") {
      const auto has = [&response](const std::string& member) {
        return response.body.find(member) != std::string::npos;
      };
      require(has("\"method\" : \"" + answer.method + '"'), "the answer to this method");
      require(has("\"bodyLength\" : " + std::to_string(answer.bodyLength)), "and this body");
    }
  }

  ConnectionModel model_;
  Client client_;
  const std::string token_;
  std::string collected_;
  bool isSlow_ = false;
  bool mayBeCut_ = false;
};

void play(Served& served, std::string_view script) { Play(served).play(script); }

// One that has answered every path: some make what stays to the end of the module.
Served& served() {
  static Served* const warm = [] {
    auto* const made = new Served;
    for (const vexahost::Route& route : vexahost::routes()) {
      for (const std::string method : {"GET ", "POST "}) {
        play(*made, method + route.path + "?u=https://a.example&url=https://a.example&value=now " +
                        "HTTP/1.1\r\nHost: localhost:8420\r\nAuthorization: Bearer \x07\r\n" +
                        "Content-Length: 2\r\n\r\n{}");
      }
    }
    return made;
  }();
  return *warm;
}

void check(std::string_view script) {
  constexpr size_t kMostScript = 32 * 1024;  // more may not be taken while an answer goes
  if (script.size() > kMostScript) {
    return;
  }
  Served& endpoint = served();
  const uint64_t blocks = endpoint.liveBlocks();
  play(endpoint, script);
  require(endpoint.connections == 0, "the connection is gone");
  require(endpoint.endpoint.budget().take(vexahost::Budget::kMost), "its input is given back");
  endpoint.endpoint.budget().give(vexahost::Budget::kMost);
  require(endpoint.liveBlocks() == blocks, "no block of the root heap is left");
}

}  // namespace
}  // namespace vexa::fuzz

// The linker leads std::chrono::steady_clock::now here (--wrap).
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" int64_t __wrap__ZNSt6chrono3_V212steady_clock3nowEv() {
  return vexa::fuzz::now.time_since_epoch().count();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vexa::fuzz::check({reinterpret_cast<const char*>(data), size});
  return 0;
}
