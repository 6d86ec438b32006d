#include "runtime/der/der_writer.h"

namespace vexa::velmora {

size_t DerWriter::begin(uint8_t tag) {
  out_.append(tag);
  return out_.size();
}

void DerWriter::end(size_t mark) {
  if (out_.failed()) {
    return;
  }
  const size_t length = out_.size() - mark;
  uint8_t header[5];
  size_t used = 0;
  if (length < 0x80) {
    header[used++] = static_cast<uint8_t>(length);
  } else {
    size_t count = 1;
    while (count < sizeof(uint32_t) && length >> (8 * count) != 0) {
      ++count;
    }
    header[used++] = static_cast<uint8_t>(0x80 | count);
    while (count-- != 0) {
      header[used++] = static_cast<uint8_t>(length >> (8 * count));
    }
  }
  if (length > UINT32_MAX) {
    out_.fail();
    return;
  }
  out_.insert(mark, {header, used});
}

void DerWriter::element(uint8_t tag, ByteView content) {
  const size_t mark = begin(tag);
  raw(content);
  end(mark);
}

void DerWriter::element(uint8_t tag, const Bytes& content) {
  element(tag, content.view());
  if (content.failed()) {
    out_.fail();
  }
}

void DerWriter::element(const Bytes& whole) {
  raw(whole.view());
  if (whole.failed()) {
    out_.fail();
  }
}

void DerWriter::smallInteger(uint32_t value) {
  const uint8_t bytes[] = {static_cast<uint8_t>(value >> 24), static_cast<uint8_t>(value >> 16),
                           static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
  unsignedInteger(bytes);
}

void DerWriter::unsignedInteger(ByteView bigEndian) {
  while (!bigEndian.empty() && bigEndian[0] == 0) {
    bigEndian = bigEndian.subspan(1);
  }
  const size_t mark = begin(kInteger);
  if (bigEndian.empty() || bigEndian[0] >= 0x80) {
    out_.append(uint8_t{0});
  }
  raw(bigEndian);
  end(mark);
}

void DerWriter::boolean(bool value) {
  const uint8_t byte = value ? 0xFF : 0x00;
  element(kBoolean, {&byte, 1});
}

void DerWriter::objectId(const KnownId& identifier) { element(kObjectId, identifier.content()); }

void DerWriter::bitString(ByteView bytes) {
  const size_t mark = begin(kBitString);
  out_.append(uint8_t{0});
  raw(bytes);
  end(mark);
}

}  // namespace vexa::velmora
