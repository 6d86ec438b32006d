#pragma once

#include <string>
#include <vector>

#include "module.h"

namespace vexahost {

// How to reach a URL, by the user's settings.
struct ProxyDecision {
  enum class Kind { kProxy, kDirect, kNone };  // kNone: no usable setting

  Kind kind = Kind::kNone;
  std::string proxy;
  std::vector<std::string> why;  // what the module traced, when the runtime tells
};

// May take long: a script may have to be fetched. Any thread; one at a time gets told why. Throws
// HostError, with kUsage for a text that leads to no host.
ProxyDecision decideProxy(const Module& module, const std::string& url);

}  // namespace vexahost
