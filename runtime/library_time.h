#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace vexa::velmora {

// A library time is a text YYYYMMDDThhmmss in UTC with a terminator behind.
inline constexpr size_t kLibraryTimeLength = 15;

// Seconds since 1970, negative before; nothing when the text is no time of the calendar.
std::optional<int64_t> libraryTimeSeconds(const char* text);

}  // namespace vexa::velmora
