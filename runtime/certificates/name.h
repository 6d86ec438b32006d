#pragma once

#include <string_view>

#include "runtime/der/der_reader.h"
#include "runtime/der/object_id.h"

// Distinguished names (X.501): counted objects that never change and keep their encoding.
namespace vexa::velmora {

// `encoding` is the DER of an RDNSequence. One without any name gives null and 0. kFail: malformed.
int32_t makeName(ByteView encoding, runtime::Name** out);

// Real names have a dozen relative names at most; those with more than this are refused.
inline constexpr size_t kMaxRelativeNames = 1024;

// From the text form of RFC 4514, the last relative name first. Values become the string types of
// RFC 5280, appendix A, and the attributes of a relative name come in the order of DER.
// kInvalidArgument: malformed, or a value that its type does not allow, be it empty or too long
// (one behind "#" may be either); `reason`, where it is given, becomes a text that says what was
// wrong.
int32_t makeNameFromText(std::string_view text, runtime::Name** out, const char** reason = nullptr);

ByteView encodingOf(const runtime::Name* name);

// Equal encodings; null equals nothing.
bool equalNames(const runtime::Name* a, const runtime::Name* b);

// Appends the text form of RFC 4514, UTF-8, the last relative name first. Control characters are
// escaped. The text is at most six times as long as the encoding.
void appendNameText(const runtime::Name* name, Bytes& out);

// An attribute type with a name of its own ("CN").
struct AttributeType {
  const char* name;
  KnownId objectId;
  uint8_t stringTag;          // what values made from text are encoded as
  size_t longest = SIZE_MAX;  // value, in characters
};
const AttributeType* findAttributeType(std::string_view name);  // any letter case
const AttributeType* findAttributeType(ByteView objectId);

}  // namespace vexa::velmora
