#include "pal/posix/der.h"

namespace pal::posix {
namespace {

constexpr std::uint8_t kInteger = 0x02;
constexpr std::uint8_t kBitString = 0x03;
constexpr std::uint8_t kSequence = 0x30;
constexpr std::uint8_t kVersion = 0xA0;

// One element: where it starts, where its contents start, where it ends.
struct Element {
  const std::uint8_t* start = nullptr;
  const std::uint8_t* contents = nullptr;
  const std::uint8_t* end = nullptr;
};

// Reads elements one after the other and remembers the first failure.
class Reader {
 public:
  Reader(const std::uint8_t* start, const std::uint8_t* end) : cursor_(start), end_(end) {}

  DerResult result() const { return result_; }
  bool nextIs(std::uint8_t tag) const { return cursor_ != end_ && *cursor_ == tag; }

  // The next element, which must have this tag; an empty one after a failure.
  Element take(std::uint8_t tag) {
    if (result_ != DerResult::kOk) {
      return {};
    }
    if (cursor_ == end_) {
      return fail(DerResult::kEndsEarly);
    }
    if (*cursor_ != tag) {
      return fail(DerResult::kWrongShape);
    }
    Element element{cursor_++, nullptr, nullptr};
    std::size_t length = 0;
    if (!takeLength(length)) {
      return {};
    }
    if (length > static_cast<std::size_t>(end_ - cursor_)) {
      return fail(DerResult::kEndsEarly);
    }
    element.contents = cursor_;
    element.end = cursor_ += length;
    return element;
  }

 private:
  // length = a byte below 0x80, or 0x80 + n and n bytes, most significant first
  bool takeLength(std::size_t& length) {
    if (cursor_ == end_) {
      return refuse(DerResult::kEndsEarly);
    }
    const std::uint8_t first = *cursor_++;
    if (first < 0x80) {
      length = first;
      return true;
    }
    int count = first & 0x7F;
    if (count == 0 || count > 4) {
      return refuse(DerResult::kWrongShape);
    }
    for (; count > 0; --count) {
      if (cursor_ == end_) {
        return refuse(DerResult::kEndsEarly);
      }
      length = length << 8 | *cursor_++;
    }
    return true;
  }

  bool refuse(DerResult result) {
    result_ = result;
    return false;
  }
  Element fail(DerResult result) {
    refuse(result);
    return {};
  }

  const std::uint8_t* cursor_;
  const std::uint8_t* const end_;
  DerResult result_ = DerResult::kOk;
};

void append(const Element& element, std::string& text) {
  text.append(reinterpret_cast<const char*>(element.start),
              static_cast<std::size_t>(element.end - element.start));
}

}  // namespace

// Certificate    = SEQUENCE { TBSCertificate, AlgorithmIdentifier, BIT STRING }
// TBSCertificate = SEQUENCE { [0] version OPTIONAL, INTEGER serial, SEQUENCE algorithm,
//                             SEQUENCE issuer, ... }
DerResult certificateIdentity(const std::uint8_t* encoded, std::size_t size,
                              std::string& identity) {
  Reader outside(encoded, encoded + size);
  const Element certificate = outside.take(kSequence);
  if (outside.result() != DerResult::kOk) {
    return outside.result();
  }

  Reader parts(certificate.contents, certificate.end);
  const Element body = parts.take(kSequence);
  parts.take(kSequence);
  parts.take(kBitString);
  if (parts.result() != DerResult::kOk) {
    return parts.result();
  }

  Reader fields(body.contents, body.end);
  if (fields.nextIs(kVersion)) {
    fields.take(kVersion);
  }
  const Element serial = fields.take(kInteger);
  fields.take(kSequence);
  const Element issuer = fields.take(kSequence);
  if (fields.result() != DerResult::kOk) {
    return fields.result();
  }

  identity.clear();
  append(issuer, identity);
  append(serial, identity);
  return DerResult::kOk;
}

}  // namespace pal::posix
