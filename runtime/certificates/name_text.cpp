#include <algorithm>

#include "runtime/certificates/name.h"
#include "runtime/der/asn1_string.h"
#include "runtime/der/der_writer.h"
#include "runtime/der/element_list.h"
#include "runtime/hex.h"
#include "runtime/utf.h"

// Reads the text form of names (RFC 4514, section 3).
namespace vexa::velmora {
namespace {

constexpr std::string_view kAlwaysEscaped = "\"+,;<>\\";

bool isLetter(uint8_t c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

// X.680, 41.4
bool isPrintable(uint8_t c) {
  constexpr std::string_view kOthers = " '()+,-./:=?";
  return isLetter(c) || (c >= '0' && c <= '9') ||
         kOthers.find(static_cast<char>(c)) != std::string_view::npos;
}

// What keeps a value from being a string of this type; null: nothing.
const char* problemOfString(uint8_t stringTag, ByteView value) {
  switch (stringTag) {
    case kPrintableString:
      return std::all_of(value.begin(), value.end(), isPrintable)
                 ? nullptr
                 : "C, serialNumber and dnQualifier take letters, digits, blanks and "
                   "' ( ) + , - . / : = ? alone";
    case kIa5String:
      return std::all_of(value.begin(), value.end(), [](uint8_t c) { return c < 0x80; })
                 ? nullptr
                 : "DC and emailAddress take ASCII alone";
    default:
      return isUtf8(reinterpret_cast<const char*>(value.data()), value.size())
                 ? nullptr
                 : "a value is not UTF-8";
  }
}

size_t countCharacters(ByteView utf8) {
  return static_cast<size_t>(
      std::count_if(utf8.begin(), utf8.end(), [](uint8_t c) { return (c & 0xC0) != 0x80; }));
}

// What keeps a text from being the value of an attribute; `type` null: of one without a name.
const char* problemOfValue(const AttributeType* type, ByteView value) {
  const bool isCountry = type != nullptr && std::string_view(type->name) == "C";
  if (isCountry && (value.size() != 2 || !isLetter(value[0]) || !isLetter(value[1]))) {
    return "C takes a country code of two letters";
  }
  if (value.empty()) {
    return "a value is empty";
  }
  const char* const problem =
      problemOfString(type != nullptr ? type->stringTag : uint8_t{kUtf8String}, value);
  if (problem == nullptr && type != nullptr && countCharacters(value) > type->longest) {
    return "a value is too long: CN, O, OU, title and serialNumber take 64 characters, L, ST and "
           "STREET 128, emailAddress 255, UID 256, others 32768";
  }
  return problem;
}

// What keeps the DER of a value from being one.
const char* problemOfElement(const DerElement& element) {
  constexpr uint8_t kClassAndForm = 0xE0;
  constexpr uint8_t kConstructedUniversal = 0x20;
  switch (element.tag) {
    case kPrintableString:
    case kIa5String:
    case kUtf8String:
      return problemOfString(element.tag, element.content) == nullptr
                 ? nullptr
                 : "behind \"#\" stands a text with bytes that its type does not have";
    case kSequence:
    case kSet:
      return nullptr;
    default:  // X.690, 10.2
      return (element.tag & kClassAndForm) != kConstructedUniversal
                 ? nullptr
                 : "behind \"#\" stands a value in pieces, which is not DER";
  }
}

// Steps answer false when the text is malformed, and reason() says why.
class NameTextReader {
 public:
  explicit NameTextReader(std::string_view text) : rest_(text) {}

  const char* reason() const { return reason_; }

  // distinguishedName = [ relativeDistinguishedName *( "," relativeDistinguishedName ) ]
  // Writes the content of the RDNSequence, which has the opposite order.
  bool name(Bytes& content) {
    if (rest_.empty()) {
      return true;
    }
    size_t count = 0;
    do {
      Bytes relative;
      if (++count > kMaxRelativeNames) {
        return refuse("the name has too many parts");
      }
      if (!relativeName(relative)) {
        return false;
      }
      if (relative.failed()) {
        content.fail();
      }
      content.insert(0, relative.view());
    } while (takeChar(','));
    return rest_.empty() || refuse("a special character stands without its backslash");
  }

 private:
  bool refuse(const char* reason) {
    reason_ = reason;
    return false;
  }

  // relativeDistinguishedName = attribute *( "+" attribute ), a SET OF in DER: in the order of the
  // encodings.
  bool relativeName(Bytes& out) {
    Bytes attributes;
    do {
      if (!attribute(attributes)) {
        return false;
      }
    } while (takeChar('+'));
    if (attributes.failed()) {
      out.fail();
      return true;
    }
    ElementList list(attributes.view());
    DerWriter writer(out);
    if (list.failed()) {
      writer.fail();
      return true;
    }
    const size_t set = writer.begin(kSet);
    if (!writeSorted(list.elements(), writer)) {
      return false;
    }
    writer.end(set);
    return true;
  }

  bool writeSorted(std::span<DerElement> attributes, DerWriter& writer) {
    std::sort(attributes.begin(), attributes.end(),
              [](const auto& a, const auto& b) { return beforeBytes(typeOf(a), typeOf(b)); });
    const auto twice = std::adjacent_find(
        attributes.begin(), attributes.end(),
        [](const auto& a, const auto& b) { return equalBytes(typeOf(a), typeOf(b)); });
    if (twice != attributes.end()) {
      return refuse("a type stands twice between two commas");
    }
    std::sort(attributes.begin(), attributes.end(),
              [](const auto& a, const auto& b) { return beforeBytes(a.whole, b.whole); });
    for (const DerElement& attribute : attributes) {
      writer.raw(attribute.whole);
    }
    return true;
  }

  static ByteView typeOf(const DerElement& attribute) {
    return DerReader(attribute.content).takeAny()->content;
  }

  // attribute = type "=" ( "#" hexstring / string )
  bool attribute(Bytes& out) {
    const size_t equals = rest_.find('=');
    if (equals == std::string_view::npos) {
      return refuse("a part has no \"=\"");
    }
    const std::string_view typeText = rest_.substr(0, equals);
    rest_.remove_prefix(equals + 1);

    DerWriter writer(out);
    const size_t sequence = writer.begin(kSequence);
    const AttributeType* type = findAttributeType(typeText);
    if (type != nullptr) {
      writer.objectId(type->objectId);
    } else {
      Bytes content;
      if (!encodeObjectId(typeText, [&content](uint8_t byte) { content.append(byte); })) {
        return refuse("a type is neither known by name nor an object identifier");
      }
      writer.element(kObjectId, content);
      type = findAttributeType(content.view());
    }
    if (!value(type, writer)) {
      return false;
    }
    writer.end(sequence);
    return true;
  }

  bool value(const AttributeType* type, DerWriter& writer) {
    Bytes value;
    if (takeChar('#')) {
      if (!hexString(value)) {
        return false;
      }
      writer.element(value);
      return true;
    }
    if (!string(value)) {
      return false;
    }
    if (value.failed()) {
      writer.fail();
      return true;
    }
    if (const char* const problem = problemOfValue(type, value.view())) {
      return refuse(problem);
    }
    writer.element(type != nullptr ? type->stringTag : uint8_t{kUtf8String}, value);
    return true;
  }

  // The DER of one value.
  bool hexString(Bytes& out) {
    while (takeHexPair(out)) {
    }
    if (out.failed()) {
      return true;
    }
    DerReader reader(out.view());
    const std::optional<DerElement> element = reader.takeAny();
    if (!element || !reader.atEnd()) {
      return refuse("behind \"#\" stands something that is not the DER of one value");
    }
    const char* const problem = problemOfElement(*element);
    return problem == nullptr || refuse(problem);
  }

  bool string(Bytes& out) {
    while (!rest_.empty() && rest_[0] != ',' && rest_[0] != '+') {
      if (takeChar('\\')) {
        if (!escaped(out)) {
          return refuse("a backslash stands before neither a special character nor two digits");
        }
        continue;
      }
      if (kAlwaysEscaped.find(rest_[0]) != std::string_view::npos) {
        return refuse("a special character stands without its backslash");
      }
      takeByte(out);
    }
    return true;
  }

  // Behind "\": either a special character or two hexadecimal digits.
  bool escaped(Bytes& out) {
    constexpr std::string_view kMayBeEscaped = "\"+,;<>\\ #=";
    if (takeHexPair(out)) {
      return true;
    }
    if (rest_.empty() || kMayBeEscaped.find(rest_[0]) == std::string_view::npos) {
      return false;
    }
    takeByte(out);
    return true;
  }

  bool takeHexPair(Bytes& out) {
    if (rest_.size() < 2 || hexDigit(rest_[0]) < 0 || hexDigit(rest_[1]) < 0) {
      return false;
    }
    out.append(static_cast<uint8_t>(hexDigit(rest_[0]) << 4 | hexDigit(rest_[1])));
    rest_.remove_prefix(2);
    return true;
  }

  void takeByte(Bytes& out) {
    out.append(static_cast<uint8_t>(rest_[0]));
    rest_.remove_prefix(1);
  }

  bool takeChar(char c) {
    if (rest_.empty() || rest_[0] != c) {
      return false;
    }
    rest_.remove_prefix(1);
    return true;
  }

  std::string_view rest_;
  const char* reason_ = nullptr;
};

}  // namespace

int32_t makeNameFromText(std::string_view text, runtime::Name** out, const char** reason) {
  Bytes content;
  NameTextReader reader(text);
  if (!reader.name(content)) {
    if (reason != nullptr) {
      *reason = reader.reason();
    }
    return kInvalidArgument;
  }
  Bytes encoding;
  DerWriter(encoding).element(kSequence, content);
  if (encoding.failed()) {
    return kOutOfMemory;
  }
  return makeName(encoding.view(), out);
}

}  // namespace vexa::velmora
