#pragma once

namespace vexahost {

struct Options;

// Of the project, given by the build.
inline constexpr char kVersion[] = VEXA_VERSION;
inline constexpr char kReleaseDate[] = VEXA_RELEASE_DATE;

// What this program, the module, its runtime and the libraries in both are.
void printVersions(Options& options);

}  // namespace vexahost
