#include "runtime/certificates/certificate_text.h"

#include <string_view>

#include "runtime/basic_tables.h"
#include "vexa/results.h"

namespace vexa::velmora {
namespace {

// The body of the first certificate between lines; the whole text when there are no lines; nothing
// when its end is missing.
std::string_view certificateBody(std::string_view text) {
  constexpr std::string_view kBegin = "-----BEGIN ";
  constexpr std::string_view kLabelEnd = "CERTIFICATE-----";
  constexpr std::string_view kEnd = "-----END ";
  size_t begin = text.find(kBegin);
  if (begin == std::string_view::npos) {
    return text;
  }
  while (begin != std::string_view::npos) {
    const std::string_view rest = text.substr(begin);
    const std::string_view line = rest.substr(0, rest.find_first_of("\r\n"));
    if (line.ends_with(kLabelEnd)) {
      const size_t end = rest.find(kEnd);
      return end == std::string_view::npos ? std::string_view()
                                           : rest.substr(line.size(), end - line.size());
    }
    // Whatever else begins on this line ends like it: each line is looked at once.
    begin = text.find(kBegin, begin + line.size());
  }
  return {};
}

}  // namespace

int32_t readCertificateText(ByteView text, Bytes& der) {
  const std::string_view body =
      certificateBody({reinterpret_cast<const char*>(text.data()), text.size()});
  if (body.empty()) {
    return kFail;
  }
  der.resize(body.size() / 4 * 3 + 3);
  if (der.failed()) {
    return kOutOfMemory;
  }
  uint64_t length = der.size();
  const int32_t result = encodeTable.Base64Decode(reinterpret_cast<const uint8_t*>(body.data()),
                                                  body.size(), der.data(), &length, 0, 0);
  if (failed(result)) {
    return result;
  }
  der.resize(static_cast<size_t>(length));
  return kOk;
}

}  // namespace vexa::velmora
