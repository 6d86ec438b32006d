#pragma once

#include <string_view>

// Texts that a pattern with wildcards covers.
namespace vexa::velmora {

// Whether the pattern covers the whole text: '*' any run, '?' one unit; ASCII letters without case.
// The time is linear in both lengths together and nothing is allocated. The exception: a piece
// between two stars with a '?' in it takes up to its own length times that of the text.
bool wildcardMatches(std::u16string_view text, std::u16string_view pattern);

}  // namespace vexa::velmora
