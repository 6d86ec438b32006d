#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace vexahost {

// What a client is answered.
struct Reply {
  uint32_t status = 200;
  std::string body{};
  const char* contentType = "application/json";
  std::vector<std::pair<const char*, std::string>> headers{};
};

// A handler's wish to be asked again, when the number of changes is another one or the time is up.
struct Wait {
  uint32_t since;
  std::chrono::milliseconds time;
};

// A handler's wish that the client be told of every change from now on.
struct Subscribe {};

using Outcome = std::variant<Reply, Wait, Subscribe>;

// The reason phrase of a status that the endpoint uses; empty for any other.
const char* reasonPhrase(uint32_t status);

}  // namespace vexahost
