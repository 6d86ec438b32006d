#include "password.h"

#include <cstdio>
#include <fstream>
#include <iostream>

#include "module.h"

#ifdef _WIN32
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
#else
#include <termios.h>
#include <unistd.h>
#endif

namespace vexahost {
namespace {

// Turns the echo of the terminal off while it lives.
class NoEcho {
 public:
#ifdef _WIN32
  NoEcho() : input_(GetStdHandle(STD_INPUT_HANDLE)), isTerminal_(GetConsoleMode(input_, &mode_)) {
    if (isTerminal_) {
      SetConsoleMode(input_, mode_ & ~static_cast<DWORD>(ENABLE_ECHO_INPUT));
    }
  }
  ~NoEcho() {
    if (isTerminal_) {
      SetConsoleMode(input_, mode_);
    }
  }
#else
  NoEcho() : isTerminal_(tcgetattr(STDIN_FILENO, &mode_) == 0) {
    if (isTerminal_) {
      termios quiet = mode_;
      quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
      tcsetattr(STDIN_FILENO, TCSANOW, &quiet);
    }
  }
  ~NoEcho() {
    if (isTerminal_) {
      tcsetattr(STDIN_FILENO, TCSANOW, &mode_);
    }
  }
#endif
  NoEcho(const NoEcho&) = delete;
  NoEcho& operator=(const NoEcho&) = delete;

 private:
#ifdef _WIN32
  HANDLE input_;
  DWORD mode_ = 0;
#else
  termios mode_{};
#endif
  bool isTerminal_;
};

void cutLineEnd(std::string& line) {
  if (!line.empty() && line.back() == '\r') {
    line.pop_back();
  }
}

}  // namespace

Password::~Password() {
  volatile char* bytes = text_.data();
  for (size_t i = 0; i < text_.size(); ++i) {
    bytes[i] = '\0';
  }
}

void Password::addOptions(CLI::App& command, const std::string& name) {
  auto* const file =
      command.add_option("--" + name + "-file", file_, "File whose first line is the password");
  command.add_flag("--" + name + "-stdin", fromInput_, "Read the password from standard input")
      ->excludes(file);
}

const std::string& Password::get(const char* prompt) {
  if (known_) {
    return text_;
  }
  text_.reserve(256);  // grows rarely, so that few copies are left behind
  if (!file_.empty()) {
    std::ifstream file(file_, std::ios::binary);
    std::getline(file, text_);
    if (!file.is_open() || file.bad()) {
      throw HostError("cannot read " + file_);
    }
  } else {
    const NoEcho quiet;
    if (!fromInput_) {
      std::fprintf(stderr, "%s: ", prompt);
    }
    std::getline(std::cin, text_);
    if (!fromInput_) {
      std::fprintf(stderr, "\n");
    }
  }
  cutLineEnd(text_);
  known_ = true;
  return text_;
}

}  // namespace vexahost
