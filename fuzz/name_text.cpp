#include "certificate_oracle.h"
#include "runtime/certificates/name.h"

// A name and an object identifier from the same text: what is accepted is what OpenSSL makes of the
// encoding, and its text form reads again as an equal name.
namespace vexa::fuzz {
namespace {

using OpenSslName = FunctionHolder<X509_NAME, X509_NAME_free>;
using OpenSslObject = FunctionHolder<ASN1_OBJECT, ASN1_OBJECT_free>;

// --- Names ---

// Whether some character of the text has a meaning besides itself.
bool isPlain(std::string_view text) {
  const auto isOrdinary = [](char c) {
    return c >= ' ' && c < 0x7F && std::string_view("\\#+,;<>\"").find(c) == std::string_view::npos;
  };
  return std::all_of(text.begin(), text.end(), isOrdinary);
}

void checkEncoding(runtime::Name* name) {
  const std::string_view der = viewOf(velmora::encodingOf(name));
  const auto* cursor = reinterpret_cast<const unsigned char*>(der.data());
  const unsigned char* const end = cursor + der.size();
  ERR_clear_error();
  const OpenSslName read(d2i_X509_NAME(nullptr, &cursor, static_cast<long>(der.size())));
  if (!read) {
    return require(!isRefusedForItsForm(), "OpenSSL reads the name, too");
  }
  require(cursor == end, "nothing behind the name");
  requireSameName(name, read.get());
  // DER sorts the attributes of a relative name; OpenSSL writes them so.
  unsigned char* written = nullptr;
  X509_NAME_add_entry_by_NID(read.get(), NID_commonName, MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>("x"), 1, -1, 0);
  const int length = i2d_X509_NAME(read.get(), &written);
  const std::string more(viewOf(written, length));
  OPENSSL_free(written);
  const size_t header = der.size() < 0x82 ? 2 : der.size() < 0x103 ? 3 : 4;
  const std::string_view content = der.substr(std::min(header, der.size()));
  require(more.find(content) != std::string::npos, "the name is DER");
}

void checkNameText(std::string_view text) {
  velmora::Ref<runtime::Name> name;
  const int32_t result = velmora::makeNameFromText(text, name.put());
  require(result == kOk || (result == kInvalidArgument && !name), "a name, or why not");
  if (text.substr(0, 3) == "CN=" && isPlain(text.substr(3))) {
    const std::string_view value = text.substr(3);
    require((result == kOk) == (!value.empty() && value.size() <= 64),
            "plain text of a common name's length is one");
    require(!name || textOf(name.get()) == "CN=" + escapedText(std::string(value)),
            "with its value");
  }
  if (!name) {
    return;
  }
  checkEncoding(name.get());
  const std::string written = textOf(name.get());
  velmora::Ref<runtime::Name> again;
  const int32_t repeated = velmora::makeNameFromText(written, again.put());
  // A value that was given in hexadecimal digits may be of a type that its text does not tell.
  require(repeated == kOk || text.find('#') != std::string_view::npos, "its text reads again");
  require(repeated != kOk || textOf(again.get()) == written, "with the same text");
}

// --- Object identifiers ---

// Digits between points, none with a leading 0.
bool looksLikeIdentifier(std::string_view text) {
  char before = '.';
  size_t points = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '.' ? before == '.' : c < '0' || c > '9') {
      return false;
    }
    if (c == '0' && before == '.' && i + 1 < text.size() && text[i + 1] != '.') {
      return false;
    }
    points += c == '.' ? 1 : 0;
    before = c;
  }
  return before != '.' && points > 0;
}

// Whether each of its numbers is below 2^63, where both implementations read it.
bool isSmall(std::string_view text) {
  for (size_t start = 0; start <= text.size();) {
    const size_t end = std::min(text.find('.', start), text.size());
    if (end - start > 18) {
      return false;
    }
    start = end + 1;
  }
  return true;
}

void checkObjectId(const std::string& text) {
  ERR_clear_error();
  const OpenSslObject expected(OBJ_txt2obj(text.c_str(), 1));
  velmora::Ref<runtime::ObjectId> identifier;
  const int32_t result = velmora::commonTypesTable.ObjectIdFromText(text.c_str(), identifier.put());
  require((result == kOk) == static_cast<bool>(identifier), "an identifier exactly on success");
  if (!looksLikeIdentifier(text)) {
    return require(result != kOk, "an identifier is digits and points");
  }
  if (isSmall(text)) {
    require((result == kOk) == static_cast<bool>(expected), "both read it, or neither");
  }
  if (!identifier) {
    return;
  }
  require(expected && viewOf(velmora::contentOf(identifier.get())) ==
                          viewOf(OBJ_get0_data(expected.get()),
                                 static_cast<int>(OBJ_length(expected.get()))),
          "the same identifier");
  velmora::Bytes written;
  require(velmora::appendObjectIdText(velmora::contentOf(identifier.get()), written),
          "it has a text");
  require(viewOf(written.view()) == text, "the same text");
}

}  // namespace
}  // namespace vexa::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  return vexa::fuzz::checkInput(data, size, [](std::string_view input) {
    const std::string text(input);
    vexa::fuzz::checkNameText(text);
    if (text.find('\0') == std::string::npos) {
      vexa::fuzz::checkObjectId(text);
    }
  });
}
