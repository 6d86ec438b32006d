#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

// What commands say on the standard output. A command hands over its data once; whether a person or
// a program reads it is decided here. Failed writes are noticed by finish().
namespace vexahost {

using Json = nlohmann::ordered_json;

class Output {
 public:
  enum class Format { kText, kJson };

  void setFormat(Format format) { format_ = format; }
  void setQuiet(bool quiet) { isQuiet_ = quiet; }
  bool isJson() const { return format_ == Format::kJson; }

  // The answer of a command: `text` writes it for people, `data` is the same for programs (one line
  // of JSON).
  void answer(const Json& data, const std::function<void()>& text);
  // A line of an answer for people.
  void line(std::string_view text);
  // What was done, where there is no answer to give; left out with --quiet.
  void done(const Json& data, std::string_view text);
  // What is going on, on the standard error; only for a person at a terminal, never with --quiet.
  void progress(std::string_view text);

  // The bytes themselves.
  void raw(std::string_view bytes);
  // Makes an answer that grows visible at once.
  void flush();
  // Throws HostError when anything could not be written.
  void finish();

 private:
  Format format_ = Format::kText;
  bool isQuiet_ = false;
};

}  // namespace vexahost
