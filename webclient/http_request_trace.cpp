#include "base/trace.h"
#include "webclient/http_request.h"

// What a request tells the trace about itself, when that is on.
namespace vexa::webclient {
namespace {

using base::kModuleSource;
using base::kTraceInfo;

constexpr char kBanner[] = "****************** HTTP Request ******************";
constexpr char kEntry[] = "%s : %s : %s";

}  // namespace

void CHTTPRequest::writeUnfinished() const {
  base::traceFormat(kTraceInfo, kModuleSource, "HTTP request unfinished bytes count: %d",
                    static_cast<int>(pending_.size()));
}

void CHTTPRequest::writeRaw() const {
  base::traceText(kTraceInfo, kModuleSource, "****** HTTP Request Begin (RAW) ******");
  base::Buffer text;
  if (succeeded(base::BufferFromBytes(pending_.data(), pending_.size(), text.put()))) {
    base::traceText(kTraceInfo, kModuleSource, reinterpret_cast<const char*>(text->data));
  }
  base::traceText(kTraceInfo, kModuleSource, "******  HTTP Request End (RAW)  ******");
}

void CHTTPRequest::writeAll() {
  base::traceText(kTraceInfo, kModuleSource, kBanner);
  base::traceFormat(kTraceInfo, kModuleSource, "HTTP method: %s", method_.text());
  base::traceFormat(kTraceInfo, kModuleSource, "HTTP uri: %s", uri_.text());
  base::traceFormat(kTraceInfo, kModuleSource, "HTTP path: %s", getPath());
  dumpTable("HTTP query:", queryParameters_);
  base::traceFormat(kTraceInfo, kModuleSource, "HTTP protocol: %s", protocolVersion_.text());
  dumpTable("HTTP headers:", headers_);
  base::traceFormat(kTraceInfo, kModuleSource, "HTTP Body: %s",
                    body_ ? reinterpret_cast<const char*>(body_->data) : "<empty>");
  base::traceText(kTraceInfo, kModuleSource, kBanner);
}

void CHTTPRequest::dumpTable(const char* title, const collections::TextTable& table) const {
  const char* key = nullptr;
  for (uint64_t index = 0; (key = table.keyAt(index)) != nullptr; ++index) {
    base::traceFormat(kTraceInfo, kModuleSource, kEntry, title, key, table.find(key));
  }
}

}  // namespace vexa::webclient
