#include "runtime/certificates/name.h"

#include "runtime/der/asn1_string.h"
#include "runtime/der/element_list.h"
#include "runtime/string_bytes.h"

namespace vexa::velmora {
namespace {

struct NameObject : Counted<runtime::Name> {
  static constexpr char kTypeName[] = "Name";
  static const runtime::NameTable kTable;

  NameObject() : Counted(&kTable) {}

  Bytes encoding;
};

// RFC 4514, section 3, and the descriptors of the same registry that certificates use. The longest
// values are those of RFC 5280, appendix A.1 ("ub-..."), of X.520 for STREET and RFC 4519 for UID.
constexpr AttributeType kAttributeTypes[] = {
    {"CN", "2.5.4.3", kUtf8String, 64},
    {"L", "2.5.4.7", kUtf8String, 128},
    {"ST", "2.5.4.8", kUtf8String, 128},
    {"O", "2.5.4.10", kUtf8String, 64},
    {"OU", "2.5.4.11", kUtf8String, 64},
    {"C", "2.5.4.6", kPrintableString, 2},
    {"STREET", "2.5.4.9", kUtf8String, 128},
    {"DC", "0.9.2342.19200300.100.1.25", kIa5String},
    {"UID", "0.9.2342.19200300.100.1.1", kUtf8String, 256},
    {"SN", "2.5.4.4", kUtf8String, 32768},
    {"serialNumber", "2.5.4.5", kPrintableString, 64},
    {"title", "2.5.4.12", kUtf8String, 64},
    {"givenName", "2.5.4.42", kUtf8String, 32768},
    {"initials", "2.5.4.43", kUtf8String, 32768},
    {"generationQualifier", "2.5.4.44", kUtf8String, 32768},
    {"dnQualifier", "2.5.4.46", kPrintableString},
    {"emailAddress", "1.2.840.113549.1.9.1", kIa5String, 255},
};

constexpr char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

bool equalIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) {
    return false;
  }
  for (size_t i = 0; i < a.size(); ++i) {
    if (lower(a[i]) != lower(b[i])) {
      return false;
    }
  }
  return true;
}

// AttributeTypeAndValue = SEQUENCE { type OBJECT IDENTIFIER, value ANY }
struct Attribute {
  ByteView type;
  DerElement value;
};

std::optional<Attribute> takeAttribute(DerReader& relativeName) {
  const auto sequence = relativeName.take(kSequence);
  if (!sequence) {
    return std::nullopt;
  }
  DerReader reader(sequence->content);
  const auto type = reader.take(kObjectId);
  const auto value = reader.takeAny();
  if (!type || !value || !reader.atEnd()) {
    return std::nullopt;
  }
  return Attribute{type->content, *value};
}

// RelativeDistinguishedName = SET SIZE (1..MAX) OF AttributeTypeAndValue
bool isRelativeName(ByteView content) {
  DerReader reader(content);
  if (reader.atEnd()) {
    return false;
  }
  while (!reader.atEnd()) {
    const auto attribute = takeAttribute(reader);
    if (!attribute || !isObjectId(attribute->type)) {
      return false;
    }
  }
  return true;
}

std::optional<size_t> countRelativeNames(ByteView sequence) {
  DerReader reader(sequence);
  size_t count = 0;
  for (; !reader.atEnd(); ++count) {
    const auto set = reader.take(kSet);
    if (!set || !isRelativeName(set->content) || count == kMaxRelativeNames) {
      return std::nullopt;
    }
  }
  return count;
}

// Calls `use` with each attribute in the order of the text form until it answers false. False when
// memory was short.
template <class Use>
bool forEachAttribute(const NameObject& name, Use&& use) {
  const ElementList relativeNames(*derContent(name.encoding.view(), kSequence));
  const std::span<const DerElement> elements = relativeNames.elements();
  for (size_t index = elements.size(); index-- != 0;) {
    DerReader reader(elements[index].content);
    for (bool first = true; !reader.atEnd(); first = false) {
      if (!use(*takeAttribute(reader), first)) {
        return true;
      }
    }
  }
  return !relativeNames.failed();
}

void appendText(std::string_view text, Bytes& out) {
  out.append({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
}

void appendHex(ByteView bytes, Bytes& out) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  for (const uint8_t byte : bytes) {
    out.append(static_cast<uint8_t>(kDigits[byte >> 4]));
    out.append(static_cast<uint8_t>(kDigits[byte & 15]));
  }
}

// How many bytes at the front are a control character: U+0000 to U+001F, U+007F to U+009F.
size_t controlLength(ByteView utf8) {
  if (utf8[0] < 0x20 || utf8[0] == 0x7F) {
    return 1;
  }
  const bool isC1 = utf8[0] == 0xC2 && utf8.size() > 1 && utf8[1] < 0xA0;
  return isC1 ? 2 : 0;
}

// RFC 4514, 2.4. Control characters are escaped too, which the standard allows: a line feed in a
// name must not forge a line of a table, nor an escape character reach a terminal.
void appendEscaped(ByteView utf8, Bytes& out) {
  constexpr std::string_view kSpecial = "\"+,;<>\\";
  for (size_t i = 0; i < utf8.size(); ++i) {
    const char c = static_cast<char>(utf8[i]);
    if (const size_t control = controlLength(utf8.subspan(i))) {
      for (const uint8_t& byte : utf8.subspan(i, control)) {
        out.append(uint8_t{'\\'});
        appendHex({&byte, 1}, out);
      }
      i += control - 1;
      continue;
    }
    const bool atEdge = i == 0 || i + 1 == utf8.size();
    if (kSpecial.find(c) != std::string_view::npos || (c == '#' && i == 0) ||
        (c == ' ' && atEdge)) {
      out.append(uint8_t{'\\'});
    }
    out.append(utf8[i]);
  }
}

void appendAttribute(const Attribute& attribute, Bytes& out) {
  const AttributeType* const type = findAttributeType(attribute.type);
  Bytes value;
  const bool readable =
      type != nullptr && appendStringAsUtf8(attribute.value.tag, attribute.value.content, value);
  if (value.failed()) {
    out.fail();
  }
  if (type != nullptr) {
    appendText(type->name, out);
  } else {
    appendObjectIdText(attribute.type, out);
  }
  out.append(uint8_t{'='});
  if (readable) {
    appendEscaped(value.view(), out);
  } else {
    out.append(uint8_t{'#'});
    appendHex(attribute.value.whole, out);
  }
}

int32_t getAttribute(runtime::Name* self, const char* attribute, runtime::StringObject* value) {
  if (self == nullptr || attribute == nullptr || value == nullptr) {
    return kNullPointer;
  }
  const AttributeType* const type = findAttributeType(attribute);
  Bytes text;
  if (type != nullptr) {
    const auto take = [&](const Attribute& candidate, bool) {
      if (candidate.type != type->objectId) {
        return true;
      }
      if (appendStringAsUtf8(candidate.value.tag, candidate.value.content, text)) {
        return false;
      }
      text.reset();
      return true;
    };
    if (!forEachAttribute(*static_cast<NameObject*>(self), take)) {
      return kOutOfMemory;
    }
  }
  return text.failed() ? kOutOfMemory : assignString(value, text.view());
}

constinit const runtime::NameTable NameObject::kTable = {CountedHeader<NameObject>::table(),
                                                         getAttribute};

}  // namespace

const AttributeType* findAttributeType(std::string_view name) {
  for (const AttributeType& type : kAttributeTypes) {
    if (equalIgnoringCase(name, type.name)) {
      return &type;
    }
  }
  return nullptr;
}

const AttributeType* findAttributeType(ByteView objectId) {
  for (const AttributeType& type : kAttributeTypes) {
    if (objectId == type.objectId) {
      return &type;
    }
  }
  return nullptr;
}

int32_t makeName(ByteView encoding, runtime::Name** out) {
  const auto sequence = derContent(encoding, kSequence);
  const auto count = sequence ? countRelativeNames(*sequence) : std::nullopt;
  if (!count) {
    return kFail;
  }
  *out = nullptr;
  if (*count == 0) {
    return kOk;
  }
  Bytes copy;
  copy.append(encoding);
  if (copy.failed()) {
    return kOutOfMemory;
  }
  auto* const name = makeOnHeap<NameObject>();
  if (name == nullptr) {
    return kOutOfMemory;
  }
  name->encoding = std::move(copy);
  *out = name;
  return kOk;
}

ByteView encodingOf(const runtime::Name* name) {
  return static_cast<const NameObject*>(name)->encoding.view();
}

bool equalNames(const runtime::Name* a, const runtime::Name* b) {
  return a != nullptr && b != nullptr && equalBytes(encodingOf(a), encodingOf(b));
}

void appendNameText(const runtime::Name* name, Bytes& out) {
  bool start = true;
  const auto append = [&](const Attribute& attribute, bool first) {
    if (!start) {
      out.append(first ? uint8_t{','} : uint8_t{'+'});
    }
    start = false;
    appendAttribute(attribute, out);
    return true;
  };
  if (!forEachAttribute(*static_cast<const NameObject*>(name), append)) {
    out.fail();
  }
}

}  // namespace vexa::velmora
