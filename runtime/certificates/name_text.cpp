#include "runtime/certificates/name.h"
#include "runtime/der/der_writer.h"
#include "runtime/hex.h"

// Reads the text form of names (RFC 4514, section 3).
namespace vexa::velmora {
namespace {

constexpr std::string_view kAlwaysEscaped = "\"+,;<>\\";

class NameTextReader {
 public:
  explicit NameTextReader(std::string_view text) : rest_(text) {}

  // distinguishedName = [ relativeDistinguishedName *( "," relativeDistinguishedName ) ]
  // Writes the content of the RDNSequence, which has the opposite order.
  bool name(Bytes& content) {
    if (rest_.empty()) {
      return true;
    }
    do {
      Bytes relative;
      if (!relativeName(relative)) {
        return false;
      }
      if (relative.failed()) {
        content.fail();
      }
      content.insert(0, relative.view());
    } while (takeChar(','));
    return rest_.empty();
  }

 private:
  // relativeDistinguishedName = attribute *( "+" attribute ). Attributes keep their order: a reader
  // of names compares encodings, and nothing but the order tells two such names apart.
  bool relativeName(Bytes& out) {
    DerWriter writer(out);
    const size_t set = writer.begin(kSet);
    do {
      if (!attribute(writer)) {
        return false;
      }
    } while (takeChar('+'));
    writer.end(set);
    return true;
  }

  // attribute = type "=" ( "#" hexstring / string )
  bool attribute(DerWriter& writer) {
    const size_t equals = rest_.find('=');
    if (equals == std::string_view::npos) {
      return false;
    }
    const std::string_view typeText = rest_.substr(0, equals);
    rest_.remove_prefix(equals + 1);

    const size_t sequence = writer.begin(kSequence);
    const AttributeType* const type = findAttributeType(typeText);
    if (type != nullptr) {
      writer.objectId(type->objectId);
    } else {
      Bytes content;
      if (!encodeObjectId(typeText, [&content](uint8_t byte) { content.append(byte); })) {
        return false;
      }
      writer.element(kObjectId, content);
    }
    Bytes value;
    if (takeChar('#')) {
      if (!hexString(value)) {
        return false;
      }
      writer.element(value);
    } else {
      if (!string(value)) {
        return false;
      }
      writer.element(type != nullptr ? type->stringTag : uint8_t{kUtf8String}, value);
    }
    writer.end(sequence);
    return true;
  }

  // The DER of one value.
  bool hexString(Bytes& out) {
    while (rest_.size() >= 2 && hexDigit(rest_[0]) >= 0 && hexDigit(rest_[1]) >= 0) {
      out.append(static_cast<uint8_t>(hexDigit(rest_[0]) << 4 | hexDigit(rest_[1])));
      rest_.remove_prefix(2);
    }
    DerReader reader(out.view());
    return out.failed() || (reader.takeAny() && reader.atEnd());
  }

  bool string(Bytes& out) {
    while (!rest_.empty() && rest_[0] != ',' && rest_[0] != '+') {
      if (rest_[0] == '\\') {
        if (!escaped(out)) {
          return false;
        }
        continue;
      }
      if (kAlwaysEscaped.find(rest_[0]) != std::string_view::npos) {
        return false;
      }
      out.append(static_cast<uint8_t>(rest_[0]));
      rest_.remove_prefix(1);
    }
    return true;
  }

  // "\" and either a special character or two hexadecimal digits
  bool escaped(Bytes& out) {
    rest_.remove_prefix(1);
    if (rest_.size() >= 2 && hexDigit(rest_[0]) >= 0 && hexDigit(rest_[1]) >= 0) {
      out.append(static_cast<uint8_t>(hexDigit(rest_[0]) << 4 | hexDigit(rest_[1])));
      rest_.remove_prefix(2);
      return true;
    }
    constexpr std::string_view kMayBeEscaped = "\"+,;<>\\ #=";
    if (rest_.empty() || kMayBeEscaped.find(rest_[0]) == std::string_view::npos) {
      return false;
    }
    out.append(static_cast<uint8_t>(rest_[0]));
    rest_.remove_prefix(1);
    return true;
  }

  bool takeChar(char c) {
    if (rest_.empty() || rest_[0] != c) {
      return false;
    }
    rest_.remove_prefix(1);
    return true;
  }

  std::string_view rest_;
};

}  // namespace

int32_t makeNameFromText(std::string_view text, runtime::Name** out) {
  Bytes content;
  if (!NameTextReader(text).name(content)) {
    return content.failed() ? kOutOfMemory : kInvalidArgument;
  }
  Bytes encoding;
  DerWriter(encoding).element(kSequence, content);
  if (encoding.failed()) {
    return kOutOfMemory;
  }
  const int32_t result = makeName(encoding.view(), out);
  return result == kFail ? kInvalidArgument : result;
}

}  // namespace vexa::velmora
