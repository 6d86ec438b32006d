#pragma once

namespace vexahost {

struct Options;

inline constexpr char kVersion[] = VEXA_VERSION;  // of the project, given by the build

// What this program, the module, its runtime and the libraries in both are.
void printVersions(Options& options);

}  // namespace vexahost
