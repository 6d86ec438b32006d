#pragma once

#include <string_view>

#include "runtime/bytes.h"
#include "runtime/counted.h"

// Object identifiers: dotted text and the content of their DER encoding (X.690, 8.19). An arc is
// below 2^64.
namespace vexa::velmora {

// Hands the content of `dotted` to `sink` byte by byte; false when the text is malformed.
template <class Sink>
constexpr bool encodeObjectId(std::string_view dotted, Sink&& sink) {
  uint64_t first = 0;
  for (int index = 0;; ++index) {
    uint64_t arc = 0;
    size_t digits = 0;
    while (digits < dotted.size() && dotted[digits] >= '0' && dotted[digits] <= '9') {
      const auto digit = static_cast<uint64_t>(dotted[digits] - '0');
      if (arc > (UINT64_MAX - digit) / 10) {
        return false;
      }
      arc = arc * 10 + digit;
      ++digits;
    }
    if (digits == 0 || (digits > 1 && dotted[0] == '0')) {
      return false;
    }
    dotted.remove_prefix(digits);
    if (index == 0) {
      if (arc > 2) {
        return false;
      }
      first = arc;
    } else {
      if (index == 1) {
        if ((first < 2 && arc >= 40) || arc > UINT64_MAX - 80) {
          return false;
        }
        arc += 40 * first;
      }
      for (int shift = 63; shift > 0; shift -= 7) {
        if (arc >> shift != 0) {
          sink(static_cast<uint8_t>(0x80 | ((arc >> shift) & 0x7F)));
        }
      }
      sink(static_cast<uint8_t>(arc & 0x7F));
    }
    if (dotted.empty()) {
      return index >= 1;
    }
    if (dotted[0] != '.') {
      return false;
    }
    dotted.remove_prefix(1);
  }
}

// An identifier known when the program is compiled.
class KnownId {
 public:
  consteval KnownId(const char* dotted) {  // NOLINT: tables are written as texts
    if (!encodeObjectId(dotted, [this](uint8_t byte) { bytes_[length_++] = byte; })) {
      throw dotted;  // NOLINT: reached by the compiler alone, which stops here
    }
  }
  constexpr ByteView content() const { return {bytes_, length_}; }

 private:
  uint8_t bytes_[16] = {};
  size_t length_ = 0;
};

inline bool operator==(ByteView content, const KnownId& known) {
  return equalBytes(content, known.content());
}

// The row of a table whose `objectId` is this one; null when there is none.
template <class Entry, size_t Count>
const Entry* findByObjectId(const Entry (&entries)[Count], ByteView content) {
  for (const Entry& entry : entries) {
    if (content == entry.objectId) {
      return &entry;
    }
  }
  return nullptr;
}

bool isObjectId(ByteView content);

// Appends the dotted text; false when the content is malformed.
bool appendObjectIdText(ByteView content, Bytes& out);

// A counted object that never changes.
int32_t makeObjectId(ByteView content, runtime::ObjectId** out);
int32_t makeObjectId(const char* dotted, runtime::ObjectId** out);
ByteView contentOf(const runtime::ObjectId* identifier);
// Null equals nothing.
bool equalIds(const runtime::ObjectId* a, const runtime::ObjectId* b);

}  // namespace vexa::velmora
