#pragma once

#include <string_view>

namespace vexahost {

// host/page/index.html, built into the program.
extern const std::string_view kIndexHtml;

}  // namespace vexahost
