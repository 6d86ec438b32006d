#include "cli/console.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <iterator>

#include "cli/utf8.h"
#include "vexa/holders.h"

#ifdef _WIN32
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
// after windows.h
#include <fcntl.h>
#include <io.h>
#include <shellapi.h>
#endif

namespace vexahost {
namespace {

struct Range {
  uint32_t first;
  uint32_t last;
};
// Control characters, marks of direction, separators of lines and paragraphs, and what takes no
// room: names that differ are to look so. (Variation selectors stay: emoji are full of them.)
constexpr Range kHarmful[] = {
    {0x00, 0x1F},     {0x7F, 0x9F},     {0xAD, 0xAD},     {0x034F, 0x034F},
    {0x061C, 0x061C}, {0x115F, 0x1160}, {0x17B4, 0x17B5}, {0x180E, 0x180E},
    {0x200B, 0x200F}, {0x2028, 0x202E}, {0x2060, 0x206F}, {0x3164, 0x3164},
    {0xFEFF, 0xFEFF}, {0xFFA0, 0xFFA0}, {0xFFF0, 0xFFFB}, {0xE0000, 0xE007F},
};

bool isHarmful(uint32_t value) {
  return std::any_of(std::begin(kHarmful), std::end(kHarmful), [value](const Range& range) {
    return value >= range.first && value <= range.last;
  });
}

std::string escaped(uint32_t value) {
  char text[16] = {};
  const char* const form = value < 0x100 ? "\\x%02X" : value < 0x10000 ? "\\u%04X" : "\\U%08X";
  std::snprintf(text, sizeof(text), form, value);
  return text;
}

}  // namespace

#ifdef _WIN32

namespace {

struct WordsPolicy : vexa::PointerPolicy<wchar_t*> {
  static void release(wchar_t** words) { LocalFree(words); }
};

std::string narrow(std::wstring_view wide) {
  const int size = WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()),
                                       nullptr, 0, nullptr, nullptr);
  std::string text(static_cast<size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), text.data(), size,
                      nullptr, nullptr);
  return text;
}

// Of the console, which this program shares with the one that started it.
UINT inputCodePage = CP_UTF8;
UINT outputCodePage = CP_UTF8;

void restoreCodePages() {
  SetConsoleCP(inputCodePage);
  SetConsoleOutputCP(outputCodePage);
}

// Before the system ends the program, as Ctrl-C does.
BOOL WINAPI restoreAtControl(DWORD /*event*/) {
  restoreCodePages();
  return FALSE;
}

}  // namespace

std::vector<std::string> commandLine(int /*argc*/, char** /*argv*/) {
  int count = 0;
  const vexa::Holder<WordsPolicy> words(CommandLineToArgvW(GetCommandLineW(), &count));
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) {
    arguments.push_back(narrow(words[i]));
  }
  return arguments;
}

void prepareConsole() {
  inputCodePage = GetConsoleCP();
  outputCodePage = GetConsoleOutputCP();
  SetConsoleCtrlHandler(restoreAtControl, TRUE);
  SetConsoleCP(CP_UTF8);
  SetConsoleOutputCP(CP_UTF8);
  for (FILE* const stream : {stdin, stdout, stderr}) {
    _setmode(_fileno(stream), _O_BINARY);
  }
  // Without buffers the C library hands a console byte after byte.
  for (FILE* const stream : {stdout, stderr}) {
    std::setvbuf(stream, nullptr, _IOFBF, BUFSIZ);
  }
}

void restoreConsole() {
  std::fflush(stdout);
  std::fflush(stderr);
  restoreCodePages();
}

std::string typedCharacter(void* console) {
  wchar_t units[2] = {};
  DWORD count = 0;
  for (size_t length = 1; length <= std::size(units); ++length) {
    if (!ReadConsoleW(console, &units[length - 1], 1, &count, nullptr) || count == 0) {
      return {};
    }
    if (length == 2 || !IS_HIGH_SURROGATE(units[0])) {
      return narrow({units, length});
    }
  }
  return {};
}

#else

std::vector<std::string> commandLine(int argc, char** argv) {
  return argc > 0 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>();
}

void prepareConsole() {}

void restoreConsole() { std::fflush(stdout); }

#endif

void complain(std::string_view line) {
  std::fprintf(stderr, "vexahost: %.*s\n", static_cast<int>(line.size()), line.data());
  std::fflush(stderr);
}

std::filesystem::path pathOf(std::string_view utf8) {
  return {std::u8string(reinterpret_cast<const char8_t*>(utf8.data()), utf8.size())};
}

std::string textOf(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {reinterpret_cast<const char*>(text.data()), text.size()};
}

std::string visible(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const auto [value, length] = firstCodePoint(text);
    if (length == 0 || isHarmful(value)) {
      out += escaped(value);
    } else {
      out += text.substr(0, length);
    }
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return out;
}

}  // namespace vexahost
