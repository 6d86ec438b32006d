#include "server/message.h"

#include <cstring>

#include "vexa/http_response.h"

namespace vexahost {
namespace {

constexpr char kWriting[] = "building the response";
constexpr std::string_view kHeadEnd = "\r\n\r\n";

}  // namespace

void Message::write(const Module& module, const Reply& reply, Part part) {
  const auto response = module.make<vexa::IHTTPResponse>();
  // It returns a constant failure code, also when it set the status.
  (void)response->setStatus(reply.status, reasonPhrase(reply.status));
  for (const auto& [name, value] : reply.headers) {
    check(response->addHeader(name, value.c_str()), kWriting);
  }
  check(response->setBody(reply.body.c_str()), kWriting);
  *this = Message(module);
  check(response->serialize(bytes_.put(), &size_), kWriting);
  if (part == Part::kWhole) {
    return;
  }
  size_ -= std::strlen(reply.body.c_str());
  if (part == Part::kWithoutLength) {
    // Content-Length is the last header.
    auto* const bytes = reinterpret_cast<char*>(bytes_.get());
    const size_t lineEnd = size_ - kHeadEnd.size();
    size_ = std::string_view(bytes, lineEnd).rfind("\r\n") + kHeadEnd.size();
    std::memcpy(bytes + size_ - kHeadEnd.size(), kHeadEnd.data(), kHeadEnd.size());
  }
}

}  // namespace vexahost
