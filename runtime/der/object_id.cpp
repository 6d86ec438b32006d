#include "runtime/der/object_id.h"

#include <algorithm>
#include <charconv>
#include <new>

namespace vexa::velmora {
namespace {

// The content stands behind the object, in one block: a certificate may have very many of them.
struct ObjectIdObject : Counted<runtime::ObjectId> {
  static constexpr char kTypeName[] = "ObjectId";
  static const runtime::ObjectHeader kTable;

  explicit ObjectIdObject(size_t length) : Counted(&kTable), contentLength(length) {}

  uint8_t* content() { return reinterpret_cast<uint8_t*>(this + 1); }
  const uint8_t* content() const { return reinterpret_cast<const uint8_t*>(this + 1); }

  const size_t contentLength;
};
constinit const runtime::ObjectHeader ObjectIdObject::kTable =
    CountedHeader<ObjectIdObject>::table();

void appendDecimal(uint64_t value, Bytes& out) {
  char digits[20];
  const auto end = std::to_chars(digits, digits + sizeof(digits), value).ptr;
  out.append({reinterpret_cast<const uint8_t*>(digits), static_cast<size_t>(end - digits)});
}

// An arc in groups of seven bits, the last one without the high bit, and no leading zero group.
bool takeArc(ByteView& rest, uint64_t& arc) {
  arc = 0;
  if (rest.empty() || rest[0] == 0x80) {
    return false;
  }
  while (!rest.empty()) {
    const uint8_t byte = rest[0];
    rest = rest.subspan(1);
    if (arc > UINT64_MAX >> 7) {
      return false;
    }
    arc = arc << 7 | (byte & 0x7Fu);
    if (byte < 0x80) {
      return true;
    }
  }
  return false;
}

}  // namespace

bool isObjectId(ByteView content) {
  uint64_t arc = 0;
  do {
    if (!takeArc(content, arc)) {
      return false;
    }
  } while (!content.empty());
  return true;
}

bool appendObjectIdText(ByteView content, Bytes& out) {
  uint64_t arc = 0;
  if (!takeArc(content, arc)) {
    return false;
  }
  const uint64_t first = arc < 80 ? arc / 40 : 2;
  appendDecimal(first, out);
  arc -= 40 * first;
  for (;;) {
    out.append(uint8_t{'.'});
    appendDecimal(arc, out);
    if (content.empty()) {
      return true;
    }
    if (!takeArc(content, arc)) {
      return false;
    }
  }
}

int32_t makeObjectId(ByteView content, runtime::ObjectId** out) {
  void* const block = allocateBlock(sizeof(ObjectIdObject) + content.size());
  if (block == nullptr) {
    return kOutOfMemory;
  }
  auto* const object = new (block) ObjectIdObject(content.size());
  std::copy(content.begin(), content.end(), object->content());
  *out = object;
  return kOk;
}

int32_t makeObjectId(const char* dotted, runtime::ObjectId** out) {
  Bytes content;
  if (!encodeObjectId(dotted, [&content](uint8_t byte) { content.append(byte); })) {
    return kInvalidArgument;
  }
  return content.failed() ? kOutOfMemory : makeObjectId(content.view(), out);
}

ByteView contentOf(const runtime::ObjectId* identifier) {
  const auto& object = *static_cast<const ObjectIdObject*>(identifier);
  return {object.content(), object.contentLength};
}

bool equalIds(const runtime::ObjectId* a, const runtime::ObjectId* b) {
  return a != nullptr && b != nullptr && equalBytes(contentOf(a), contentOf(b));
}

}  // namespace vexa::velmora
