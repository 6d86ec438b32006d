#pragma once

#include <string_view>

#include "module.h"
#include "server/reply.h"
#include "texts.h"

namespace vexahost {

// A response as bytes, written by the module's response object.
class Message {
 public:
  enum class Part { kWhole, kWithoutBody, kWithoutLength };

  explicit Message(const Module& module) : bytes_(module.tables()) {}

  // kWithoutBody: the length is told, the body left out (HEAD). kWithoutLength: neither (204, and
  // the beginning of a stream). Throws HostError.
  void write(const Module& module, const Reply& reply, Part part);
  // Gives the memory back.
  void clear(const Module& module) { *this = Message(module); }
  std::string_view view() const { return {reinterpret_cast<const char*>(bytes_.get()), size_}; }

 private:
  vexa::BlockHolder<uint8_t> bytes_;
  uint64_t size_ = 0;
};

}  // namespace vexahost
