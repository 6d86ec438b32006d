#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

// Texts between the program and its user: UTF-8 throughout, on every platform.
namespace vexahost {

// The arguments behind the program's name. On Windows `argv` has lost what the code page lacks, so
// they come from the system.
std::vector<std::string> commandLine(int argc, char** argv);

// Has the console read and write UTF-8, and leaves line ends as they are written.
void prepareConsole();
// Writes what is still to be written, and leaves the console as it was found.
void restoreConsole();

// A line for the standard error, in one piece: a console makes nothing of a part of a character.
void complain(std::string_view line);

#ifdef _WIN32
// The next character that is typed at a console, in UTF-8; empty at the end of the input.
std::string typedCharacter(void* console);
#endif

// The path that a UTF-8 text names.
std::filesystem::path pathOf(std::string_view utf8);
std::string textOf(const std::filesystem::path& path);

// Makes control characters and invalid UTF-8 harmless for a terminal and for line-based readers:
// "\x1B", "\x0A"; those that turn the direction of writing or cannot be seen as "\u202E" or
// "\U000E0001". A backslash stays, so this is for showing, not for reading back.
std::string visible(std::string_view text);

}  // namespace vexahost
