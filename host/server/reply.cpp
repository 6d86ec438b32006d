#include "server/reply.h"

namespace vexahost {

const char* reasonPhrase(uint32_t status) {
  struct Phrase {
    uint32_t status;
    const char* text;
  };
  static constexpr Phrase kPhrases[] = {
      {200, "OK"},
      {204, "No Content"},
      {400, "Bad Request"},
      {401, "Unauthorized"},
      {403, "Forbidden"},
      {404, "Not Found"},
      {405, "Method Not Allowed"},
      {408, "Request Timeout"},
      {413, "Content Too Large"},
      {417, "Expectation Failed"},
      {421, "Misdirected Request"},
      {431, "Request Header Fields Too Large"},
      {500, "Internal Server Error"},
      {501, "Not Implemented"},
      {503, "Service Unavailable"},
      {505, "HTTP Version Not Supported"},
  };
  for (const Phrase& phrase : kPhrases) {
    if (phrase.status == status) {
      return phrase.text;
    }
  }
  return "";
}

}  // namespace vexahost
