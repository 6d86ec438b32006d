#include "server/answers.h"
#include "server/page.h"
#include "server/token.h"

// The console.
namespace vexahost {
namespace {

constexpr std::string_view kPlaceholder = "@NONCE@";
constexpr size_t kNonceBytes = 16;

std::string withNonce(std::string_view page, const std::string& nonce) {
  std::string text;
  text.reserve(page.size() + 8 * nonce.size());
  for (size_t found = page.find(kPlaceholder); found != std::string_view::npos;
       found = page.find(kPlaceholder)) {
    text += page.substr(0, found);
    text += nonce;
    page.remove_prefix(found + kPlaceholder.size());
  }
  return text.append(page);
}

}  // namespace

Outcome answerPage(const Call&) {
  const std::string nonce = randomText(kNonceBytes);
  Reply reply{.body = withNonce(kIndexHtml, nonce), .contentType = "text/html; charset=utf-8"};
  reply.headers.emplace_back(
      "Content-Security-Policy",
      "default-src 'none'; script-src 'nonce-" + nonce + "'; style-src 'nonce-" + nonce +
          "'; img-src data:; connect-src 'self'; base-uri 'none'; form-action 'none'; "
          "frame-ancestors 'none'");
  reply.headers.emplace_back("Referrer-Policy", "no-referrer");
  return reply;
}

}  // namespace vexahost
