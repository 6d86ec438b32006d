#pragma once

#include <cstdio>

namespace vexa::velmora {

// Writes a text that may come from anywhere to a line of a file or terminal: control characters,
// line ends among them, and what is no UTF-8 as "\x1B", what turns the direction of writing or
// cannot be seen as "\u202E". A backslash stays, so this is for reading, not for reading back.
void printVisible(std::FILE* sink, const char* text);

}  // namespace vexa::velmora
