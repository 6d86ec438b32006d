#include "cli/output.h"

#include "cli/exit_status.h"

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace vexahost {
namespace {

bool isTerminal(FILE* stream) {
#ifdef _WIN32
  return _isatty(_fileno(stream)) != 0;
#else
  return isatty(fileno(stream)) != 0;
#endif
}

}  // namespace

void Output::answer(const Json& data, const std::function<void()>& text) {
  if (isJson()) {
    line(data.dump(-1, ' ', false, Json::error_handler_t::replace));
  } else {
    text();
  }
}

void Output::line(std::string_view text) {
  raw(text);
  raw("\n");
}

void Output::done(const Json& data, std::string_view text) {
  if (isJson()) {
    line(data.dump(-1, ' ', false, Json::error_handler_t::replace));
  } else if (!isQuiet_) {
    line(text);
  }
}

void Output::progress(std::string_view text) {
  if (!isQuiet_ && isTerminal(stderr)) {
    std::fprintf(stderr, "%.*s\n", static_cast<int>(text.size()), text.data());
    std::fflush(stderr);
  }
}

void Output::raw(std::string_view bytes) { std::fwrite(bytes.data(), 1, bytes.size(), stdout); }

void Output::flush() { std::fflush(stdout); }

void Output::finish() {
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    throw HostError("the output could not be written", ExitStatus::kOutput);
  }
}

}  // namespace vexahost
