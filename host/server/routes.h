#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "server/answers.h"

// What the endpoint offers, in one table: answers to preflights, 405, the help and the OpenAPI
// description are made from it.
namespace vexahost {

enum Method : uint8_t {
  kGet = 1,
  kHead = 2,
  kPost = 4,
  kPut = 8,
  kDelete = 16,
  kTrace = 32,
  kOptions = 64,
};
using Methods = uint8_t;
inline constexpr Methods kRead = kGet | kHead | kOptions;
inline constexpr Methods kSend = kPost | kOptions;
inline constexpr Methods kAnyMethod = kRead | kSend | kPut | kDelete | kTrace;

struct Parameter {
  const char* name;
  bool isRequired;
  const char* summary;
};

struct Route {
  const char* path;
  Methods methods;
  bool needsToken;
  bool isSlow;  // answered by the worker
  const char* summary;
  std::span<const Parameter> parameters;
  const char* bodyType;    // of the request; null: none
  const char* answerType;  // of a success
  Handler handler;
};

std::span<const Route> routes();
const Route* findRoute(std::string_view path);

// 0 for a method that no route takes.
Methods methodBit(std::string_view name);
// "GET, HEAD, OPTIONS"
std::string methodNames(Methods methods);

// One line a route, for the help of the command line.
std::string routeHelp();

}  // namespace vexahost
