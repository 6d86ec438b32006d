#pragma once

#include <cstdint>
#include <string_view>
#include <utility>

#include "base/heap.h"
#include "vexa/results.h"
#include "vexa/runtime/records.h"
#include "webclient/text_pieces.h"

namespace vexa::webclient {

// Owns a copy of a zero-terminated text: in place when it takes less than kRoom bytes, else in a
// block of the root list.
template <size_t kRoom>
class ShortText {
 public:
  // Both parts, one behind the other. kOutOfMemory: nothing changed.
  [[nodiscard]] int32_t assign(std::string_view text, std::string_view more = {}) {
    const uint64_t length = text.size() + more.size();
    base::RootBlock<char> block;
    if (length >= kRoom) {
      block = base::RootBlock<char>::ofBytes(length + 1);
      if (!block) {
        return kOutOfMemory;
      }
    }
    char* const target = block ? block.get() : inPlace_;
    char* const end = append(append(target, text), more);
    *end = '\0';
    block_ = std::move(block);
    length_ = length;
    return kOk;
  }

  const char* text() const { return block_ ? block_.get() : inPlace_; }
  std::string_view view() const { return {text(), length_}; }
  // For operations of the string component that keep the text where it is.
  runtime::StringObject object() { return {block_ ? block_.get() : inPlace_, length_}; }

 private:
  base::RootBlock<char> block_;
  uint64_t length_ = 0;
  char inPlace_[kRoom] = {};
};

}  // namespace vexa::webclient
