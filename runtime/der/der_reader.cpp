#include "runtime/der/der_reader.h"

#include "runtime/der/element_header.h"

namespace vexa::velmora {

std::optional<DerElement> DerReader::takeAny() {
  const auto header = readElementHeader(rest_, LengthRules::kDer);
  if (!header) {
    return std::nullopt;
  }
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
  if (!element || !reader.atEnd()) {
    return std::nullopt;
  }
  return element->content;
}

bool takeDerFields(ByteView bytes, std::span<const uint8_t> tags, std::span<DerElement> fields) {
  DerReader reader(bytes);
  for (size_t i = 0; i < tags.size(); ++i) {
    const auto field = reader.take(tags[i]);
    if (!field) {
      return false;
    }
    fields[i] = *field;
  }
  return reader.atEnd();
}

std::optional<uint32_t> derSmallInteger(ByteView content) {
  if (content.empty() || content.size() > 4 || content[0] >= 0x80) {
    return std::nullopt;
  }
  uint32_t value = 0;
  for (const uint8_t byte : content) {
    value = value << 8 | byte;
  }
  return value;
}

std::optional<ByteView> derUnsigned(ByteView content) {
  if (content.empty() || content[0] >= 0x80) {
    return std::nullopt;
  }
  while (!content.empty() && content[0] == 0) {
    content = content.subspan(1);
  }
  return content;
}

std::optional<ByteView> derBitStringBytes(ByteView content) {
  if (content.empty() || content[0] != 0) {
    return std::nullopt;
  }
  return content.subspan(1);
}

}  // namespace vexa::velmora
