#include "password.h"

#include <csignal>
#include <cstdio>
#include <iterator>
#include <string_view>

#include "cli/console.h"
#include "cli/exit_status.h"
#include "files.h"
#include "secret.h"

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

#ifndef _WIN32
constexpr int kEndings[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};
termios shownMode{};  // what the terminal goes back to when one of them ends the program

extern "C" void endShowing(int number) {
  tcsetattr(STDIN_FILENO, TCSANOW, &shownMode);
  std::signal(number, SIG_DFL);
  std::raise(number);
}
#endif

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
  NoEcho() : isTerminal_(tcgetattr(STDIN_FILENO, &shownMode) == 0) {
    if (!isTerminal_) {
      return;
    }
    for (size_t i = 0; i < std::size(kEndings); ++i) {
      before_[i] = std::signal(kEndings[i], endShowing);
      if (before_[i] == SIG_IGN) {
        std::signal(kEndings[i], SIG_IGN);
      }
    }
    termios quiet = shownMode;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(STDIN_FILENO, TCSANOW, &quiet);
  }
  ~NoEcho() {
    if (!isTerminal_) {
      return;
    }
    tcsetattr(STDIN_FILENO, TCSANOW, &shownMode);
    for (size_t i = 0; i < std::size(kEndings); ++i) {
      std::signal(kEndings[i], before_[i]);
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
  decltype(std::signal(0, SIG_DFL)) before_[std::size(kEndings)] = {};
#endif
  bool isTerminal_;
};

// The first line of a file, as UTF-8 and without the mark that some editors put at the start.
void readFirstLine(const std::string& path, std::string& out) {
  constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
  std::string content = readFile(path);
  std::string_view line = content;
  if (line.starts_with("\xFF\xFE") || line.starts_with("\xFE\xFF")) {
    throw HostError(path + ": the password file is UTF-16; save it as UTF-8",
                    ExitStatus::kPassword);
  }
  if (line.starts_with(kUtf8Mark)) {
    line.remove_prefix(kUtf8Mark.size());
  }
  out = line.substr(0, line.find('\n'));
  wipe(content);
}

void append(std::string& secret, std::string_view piece) {
  const size_t size = secret.size() + piece.size();
  if (size > secret.capacity()) {
    growSecret(secret, 2 * size);
  }
  secret += piece;
}

#ifdef _WIN32
// The next line that is typed. False: there is none.
bool readTyped(HANDLE console, std::string& out) {
  std::string next = typedCharacter(console);
  const bool isThere = !next.empty() && next != "\x1A";  // Ctrl-Z
  for (; isThere && !next.empty() && next != "\n"; next = typedCharacter(console)) {
    append(out, next);
  }
  return isThere;
}
#endif

// The next line of the standard input, byte by byte: a buffer would keep it. False: there is none.
bool readLine(std::string& out) {
#ifdef _WIN32
  // As bytes, consoles know the characters of a code page alone.
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  if (DWORD mode = 0; GetConsoleMode(input, &mode)) {
    return readTyped(input, out);
  }
#endif
  std::setvbuf(stdin, nullptr, _IONBF, 0);
  int c = std::getc(stdin);
  const bool isThere = c != EOF;
  for (; c != EOF && c != '\n'; c = std::getc(stdin)) {
    const char byte = static_cast<char>(c);
    append(out, {&byte, 1});
  }
  return isThere;
}

}  // namespace

Password::~Password() { wipe(text_); }

void Password::addOptions(Command command, const std::string& name) {
  const Option file =
      command.option("--" + name + "-file", file_, "File whose first line is the password");
  command.flag("--" + name + "-stdin", fromInput_, "Read the password from standard input")
      .excludes(file);
}

const std::string& Password::get(const char* prompt) {
  if (known_) {
    return text_;
  }
  if (!file_.empty()) {
    readFirstLine(file_, text_);
  } else {
    const NoEcho quiet;
    if (!fromInput_) {
      std::fprintf(stderr, "%s: ", prompt);
      std::fflush(stderr);
    }
    if (!readLine(text_)) {
      throw HostError("there is no password on the standard input", ExitStatus::kPassword);
    }
    if (!fromInput_) {
      std::fprintf(stderr, "\n");
      std::fflush(stderr);
    }
  }
  if (!text_.empty() && text_.back() == '\r') {
    text_.pop_back();
  }
  known_ = true;
  return text_;
}

}  // namespace vexahost
