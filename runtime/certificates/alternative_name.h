#pragma once

#include <string_view>

#include "runtime/bytes.h"

namespace vexa::velmora {

// Appends a GeneralName (RFC 5280, 4.2.1.6) from its text: "DNS:www.example.org" (also
// "*.example"), "email:jane@example.org", "URI:https://example.org/" or "IP:192.0.2.1",
// "IP:2001:db8::1". kInvalidArgument: none of these; `reason` becomes a text that says why.
int32_t appendAlternativeName(std::string_view text, Bytes& out, const char*& reason);

}  // namespace vexa::velmora
