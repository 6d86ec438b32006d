#include "runtime/der/ber.h"

#include "runtime/der/der_writer.h"
#include "runtime/der/element_header.h"

namespace vexa::velmora {
namespace {

constexpr int kMaxNesting = 32;

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
    const auto header = readElementHeader(rest, LengthRules::kBer);
    if (!header || depth > kMaxNesting) {
      return false;
    }
    rest = rest.subspan(header->headerLength);
    const uint8_t primitiveTag = static_cast<uint8_t>(header->tag & ~kConstructedBit);
    if ((header->tag & kConstructedBit) == 0) {
      writer_.element(header->tag, rest.first(header->contentLength));
      rest = rest.subspan(header->contentLength);
      return true;
    }
    const bool pieces = mayComeInPieces(primitiveTag);
    const size_t mark = writer_.begin(pieces ? primitiveTag : header->tag);
    if (!content(rest, *header, pieces, depth)) {
      return false;
    }
    writer_.end(mark);
    return true;
  }

 private:
  bool content(ByteView& rest, const ElementHeader& header, bool pieces, int depth) {
    if (header.indefinite) {
      while (!(rest.size() >= 2 && rest[0] == 0 && rest[1] == 0)) {
        if (!(pieces ? piece(rest, depth + 1) : element(rest, depth + 1))) {
          return false;
        }
      }
      rest = rest.subspan(2);
      return true;
    }
    ByteView inner = rest.first(header.contentLength);
    rest = rest.subspan(header.contentLength);
    while (!inner.empty()) {
      if (!(pieces ? piece(inner, depth + 1) : element(inner, depth + 1))) {
        return false;
      }
    }
    return true;
  }

  // A piece of a string: its bytes without a header, in order.
  bool piece(ByteView& rest, int depth) {
    const auto header = readElementHeader(rest, LengthRules::kBer);
    if (!header || depth > kMaxNesting) {
      return false;
    }
    if (!mayComeInPieces(static_cast<uint8_t>(header->tag & ~kConstructedBit))) {
      return false;
    }
    rest = rest.subspan(header->headerLength);
    if ((header->tag & kConstructedBit) != 0) {
      return content(rest, *header, true, depth);
    }
    writer_.raw(rest.first(header->contentLength));
    rest = rest.subspan(header->contentLength);
    return true;
  }

  DerWriter& writer_;
};

}  // namespace

bool derFromBer(ByteView ber, Bytes& out) {
  DerWriter writer(out);
  BerRewriter rewriter(writer);
  return rewriter.element(ber, 0) && ber.empty() && !out.failed();
}

}  // namespace vexa::velmora
