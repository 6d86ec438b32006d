#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace vexa::bench {

// Writes objects and arrays: in one line, or with every value on a line of its own.
class DocumentWriter {
 public:
  // Without indentation everything stands in one line, without blanks.
  explicit DocumentWriter(size_t indentation) : indentation_(indentation) {}

  void open(char bracket) {
    text_ += bracket;
    ++depth_;
    isFirst_ = true;
  }
  void close(char bracket) {
    --depth_;
    if (!isFirst_) {
      newLine();
    }
    text_ += bracket;
    isFirst_ = false;
  }
  void element() {
    if (!isFirst_) {
      text_ += ',';
    }
    isFirst_ = false;
    newLine();
  }
  DocumentWriter& key(std::string_view name) {
    element();
    string(name);
    text_ += indentation_ == 0 ? ":" : ": ";
    return *this;
  }
  void string(std::string_view value) { text_.append("\"").append(value).append("\""); }
  void number(uint64_t value) { text_ += std::to_string(value); }
  void word(std::string_view value) { text_ += value; }
  size_t size() const { return text_.size(); }
  std::string take() { return std::move(text_); }

 private:
  void newLine() {
    if (indentation_ == 0) {
      return;
    }
    text_ += '\n';
    text_.append(depth_ * indentation_, ' ');
  }

  std::string text_;
  size_t indentation_;
  size_t depth_ = 0;
  bool isFirst_ = true;
};

}  // namespace vexa::bench
