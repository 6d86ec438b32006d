#pragma once

#include "runtime/der/der_tags.h"
#include "runtime/der/object_id.h"

namespace vexa::velmora {

// Writes DER (X.690) into a byte block. A failed allocation shows in the block at the end.
class DerWriter {
 public:
  explicit DerWriter(Bytes& out) : out_(out) {}

  // Opens an element; what follows becomes its content until `end` gets the mark returned.
  size_t begin(uint8_t tag);
  void end(size_t mark);

  void element(uint8_t tag, ByteView content);
  // Bytes built elsewhere: their failure becomes the writer's.
  void element(uint8_t tag, const Bytes& content);
  // A whole element.
  void element(const Bytes& whole);
  void raw(ByteView bytes) { out_.append(bytes); }
  void smallInteger(uint32_t value);
  // A non-negative INTEGER of big-endian bytes.
  void unsignedInteger(ByteView bigEndian);
  void null() { element(0x05, ByteView()); }
  void boolean(bool value);
  void objectId(const KnownId& identifier);
  void bitString(ByteView bytes);
  // Marks the block as failed, as a failed allocation does.
  void fail() { out_.fail(); }

 private:
  Bytes& out_;
};

}  // namespace vexa::velmora
