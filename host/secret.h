#pragma once

#include <string>

// Texts that nobody is to find in memory when they are not needed any more.
namespace vexahost {

// Overwrites the text, in a way that no optimiser leaves out.
void wipe(std::string& text);
void wipe(char* text, size_t length);
// Makes room for so many bytes without leaving a copy behind.
void growSecret(std::string& text, size_t capacity);

}  // namespace vexahost
