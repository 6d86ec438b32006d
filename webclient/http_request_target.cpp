#include <algorithm>
#include <cstring>
#include <string_view>

#include "base/trace.h"
#include "webclient/http_request.h"
#include "webclient/text_pieces.h"

// The target of a request: its path and its parameters.
namespace vexa::webclient {
namespace {

using base::kModuleSource;
using base::kTraceInfo;

}  // namespace

// What is decoded must be a text, so the separator behind it makes room for a moment.
int32_t CHTTPRequest::takeUri(std::string_view token) {
  auto* const behind = const_cast<char*>(token.data()) + token.size();
  const char separator = *behind;
  const runtime::StringObject raw = terminated(token);
  const int32_t result = base::bound.strings->Decode(&raw, uri_.get());
  *behind = separator;
  return result;
}

// path [ "?" query ]. One block holds the path and, behind it, the query twice: once cut into
// pairs, once into keys and values.
int32_t CHTTPRequest::parseURI() {
  return base::traced("CHTTPRequest::parseURI", [&] {
    const std::string_view uri = uri_.view();
    if (uri.empty()) {
      return kOk;
    }
    const size_t pathLength = std::min(uri.find('?'), uri.size());
    const std::string_view query = uri.substr(std::min(pathLength + 1, uri.size()));
    target_ = base::RootBlock<char>::ofBytes(uri.size() + 1 + query.size() + 1);
    if (!target_) {
      return kOutOfMemory;
    }
    char* const text = target_.get();
    std::memcpy(text, uri.data(), uri.size());
    text[pathLength] = '\0';
    std::memcpy(text + uri.size() + 1, query.data(), query.size());
    return parseQuery(text + uri.size() - query.size(), text + uri.size() + 1, query.size());
  });
}

// query = pair *( "&" pair ). Both copies have room for a terminator behind them.
int32_t CHTTPRequest::parseQuery(char* pairs, char* parts, uint64_t length) {
  const std::string_view query(pairs, length);
  for (size_t at = 0; at < length;) {
    const size_t end = std::min(query.find('&', at), query.size());
    pairs[end] = '\0';
    if (end != at && failed(addQueryPair(pairs + at, {parts + at, end - at}))) {
      return kOutOfMemory;
    }
    at = end + 1;
  }
  return kOk;
}

// pair = key "=" value
int32_t CHTTPRequest::addQueryPair(const char* pair, std::string_view parts) {
  const size_t keyLength = std::min(parts.find('='), parts.size());
  runtime::StringObject key = terminated(trimmed(parts.substr(0, keyLength)));
  const runtime::StringObject value =
      terminated(trimmed(parts.substr(std::min(keyLength + 1, parts.size()))));
  if (failed(base::bound.strings->Normalise(&key)) ||
      failed(queryParameters_.put(key.text, value.text))) {
    return kOutOfMemory;
  }
  base::traceFormat(kTraceInfo, kModuleSource, "Query string parsed: %s", pair);
  return kOk;
}

}  // namespace vexa::webclient
