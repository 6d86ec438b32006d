#pragma once

#include <string_view>

namespace vexahost {

// host/page/index.html, built into the program.
std::string_view pageText();

}  // namespace vexahost
