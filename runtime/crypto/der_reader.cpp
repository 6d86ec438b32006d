#include "runtime/crypto/der_reader.h"

#include "runtime/crypto/der_writer.h"

namespace vexa::velmora {
namespace {

constexpr uint8_t kConstructed = 0x20;
constexpr uint8_t kHighTagNumber = 0x1F;
constexpr uint8_t kLongForm = 0x80;
constexpr int kMaxNesting = 32;

struct Header {
  uint8_t tag;
  size_t headerLength;
  size_t contentLength;
  bool indefinite;
};

enum class Lengths { kDer, kBer };

// identifier octet, then one length octet or a count and so many of them.
std::optional<Header> readHeader(ByteView bytes, Lengths lengths) {
  if (bytes.size() < 2 || (bytes[0] & kHighTagNumber) == kHighTagNumber) return std::nullopt;
  Header header{bytes[0], 2, bytes[1], false};
  if (bytes[1] == kLongForm) {
    if (lengths == Lengths::kDer || (header.tag & kConstructed) == 0) return std::nullopt;
    header.indefinite = true;
    header.contentLength = 0;
    return header;
  }
  if (bytes[1] > kLongForm) {
    const size_t count = bytes[1] & 0x7Fu;
    if (count > sizeof(uint32_t) || bytes.size() - 2 < count) return std::nullopt;
    size_t length = 0;
    for (size_t i = 0; i < count; ++i) length = length << 8 | bytes[2 + i];
    const bool shortest = length >= kLongForm && bytes[2] != 0;
    if (lengths == Lengths::kDer && !shortest) return std::nullopt;
    header.headerLength = 2 + count;
    header.contentLength = length;
  }
  if (bytes.size() - header.headerLength < header.contentLength) return std::nullopt;
  return header;
}

// The string types that BER may cut into pieces.
bool mayComeInPieces(uint8_t tag) {
  switch (tag) {
    case kBitString:  // would need its unused bits joined; nothing writes that
      return false;
    case kOctetString:
    case kUtf8String:
    case kNumericString:
    case kPrintableString:
    case kTeletexString:
    case kIa5String:
    case kVisibleString:
    case kUniversalString:
    case kBmpString:
      return true;
    default:
      return false;
  }
}

class BerRewriter {
 public:
  explicit BerRewriter(DerWriter& writer) : writer_(writer) {}

  // One element at the front of `rest`, which is moved behind it.
  bool element(ByteView& rest, int depth) {
    const auto header = readHeader(rest, Lengths::kBer);
    if (!header || depth > kMaxNesting) return false;
    rest = rest.subspan(header->headerLength);
    const uint8_t primitiveTag = static_cast<uint8_t>(header->tag & ~kConstructed);
    if ((header->tag & kConstructed) == 0) {
      writer_.element(header->tag, rest.first(header->contentLength));
      rest = rest.subspan(header->contentLength);
      return true;
    }
    const bool pieces = mayComeInPieces(primitiveTag);
    const size_t mark = writer_.begin(pieces ? primitiveTag : header->tag);
    if (!content(rest, *header, pieces, depth)) return false;
    writer_.end(mark);
    return true;
  }

 private:
  bool content(ByteView& rest, const Header& header, bool pieces, int depth) {
    if (header.indefinite) {
      while (!(rest.size() >= 2 && rest[0] == 0 && rest[1] == 0)) {
        if (!(pieces ? piece(rest, depth + 1) : element(rest, depth + 1))) return false;
      }
      rest = rest.subspan(2);
      return true;
    }
    ByteView inner = rest.first(header.contentLength);
    rest = rest.subspan(header.contentLength);
    while (!inner.empty()) {
      if (!(pieces ? piece(inner, depth + 1) : element(inner, depth + 1))) return false;
    }
    return true;
  }

  // A piece of a string: its bytes without a header, in order.
  bool piece(ByteView& rest, int depth) {
    const auto header = readHeader(rest, Lengths::kBer);
    if (!header || depth > kMaxNesting) return false;
    if (!mayComeInPieces(static_cast<uint8_t>(header->tag & ~kConstructed))) return false;
    rest = rest.subspan(header->headerLength);
    if ((header->tag & kConstructed) != 0) return content(rest, *header, true, depth);
    writer_.raw(rest.first(header->contentLength));
    rest = rest.subspan(header->contentLength);
    return true;
  }

  DerWriter& writer_;
};

}  // namespace

std::optional<DerElement> DerReader::takeAny() {
  const auto header = readHeader(rest_, Lengths::kDer);
  if (!header) return std::nullopt;
  const ByteView whole = rest_.first(header->headerLength + header->contentLength);
  rest_ = rest_.subspan(whole.size());
  return DerElement{header->tag, whole.subspan(header->headerLength), whole};
}

std::optional<DerElement> DerReader::take(uint8_t tag) {
  return nextIs(tag) ? takeAny() : std::nullopt;
}

std::optional<ByteView> derContent(ByteView bytes, uint8_t tag) {
  DerReader reader(bytes);
  const auto element = reader.take(tag);
  if (!element || !reader.atEnd()) return std::nullopt;
  return element->content;
}

std::optional<uint32_t> derSmallInteger(ByteView content) {
  if (content.empty() || content.size() > 4 || content[0] >= 0x80) return std::nullopt;
  uint32_t value = 0;
  for (const uint8_t byte : content) value = value << 8 | byte;
  return value;
}

std::optional<ByteView> derUnsigned(ByteView content) {
  if (content.empty() || content[0] >= 0x80) return std::nullopt;
  while (!content.empty() && content[0] == 0) content = content.subspan(1);
  return content;
}

std::optional<ByteView> derBitStringBytes(ByteView content) {
  if (content.empty() || content[0] != 0) return std::nullopt;
  return content.subspan(1);
}

bool derFromBer(ByteView ber, Bytes& out) {
  DerWriter writer(out);
  BerRewriter rewriter(writer);
  return rewriter.element(ber, 0) && ber.empty() && !out.failed();
}

}  // namespace vexa::velmora
