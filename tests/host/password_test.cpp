#include "password.h"

#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#ifdef _WIN32
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
#endif

#if defined(__SANITIZE_ADDRESS__)
#define AS_IT_IS __attribute__((no_sanitize("address", "undefined"), optimize("O2")))
#else
#define AS_IT_IS
#endif

namespace vexahost {
namespace {

constexpr uint8_t kMask = 0x5A;
constexpr size_t kMostBytes = size_t{1} << 26;  // above that it is the sanitizer's own

using Range = std::pair<uintptr_t, uintptr_t>;

// What this process may write to.
std::vector<Range> writableMemory() {
  std::vector<Range> ranges;
#ifdef _WIN32
  MEMORY_BASIC_INFORMATION found{};
  for (auto* at = static_cast<uint8_t*>(nullptr);
       VirtualQuery(at, &found, sizeof(found)) == sizeof(found);
       at = static_cast<uint8_t*>(found.BaseAddress) + found.RegionSize) {
    if (found.State == MEM_COMMIT && found.Protect == PAGE_READWRITE) {
      const auto start = reinterpret_cast<uintptr_t>(found.BaseAddress);
      ranges.emplace_back(start, start + found.RegionSize);
    }
  }
#else
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    size_t end = 0;
    const uintptr_t start = std::stoull(line, &end, 16);
    const std::string rest = line.substr(end + 1);
    const uintptr_t stop = std::stoull(rest, &end, 16);
    if (rest.compare(end, 3, " rw") == 0) {
      ranges.emplace_back(start, stop);
    }
  }
#endif
  std::erase_if(ranges, [](const Range& range) { return range.second - range.first > kMostBytes; });
  return ranges;
}

// Whether the secret stands there; it is given masked, so that looking for it makes no copy.
AS_IT_IS bool holds(const Range& range, const std::string& masked) {
  const auto* const bytes = reinterpret_cast<const volatile uint8_t*>(range.first);
  const auto* const wanted = reinterpret_cast<const uint8_t*>(masked.data());
  const size_t size = masked.size();
  for (size_t at = 0; at + size <= range.second - range.first; ++at) {
    size_t same = 0;
    while (same < size && (bytes[at + same] ^ kMask) == wanted[same]) {
      ++same;
    }
    if (same == size) {
      return true;
    }
  }
  return false;
}

bool isInMemory(const std::string& masked) {
  for (const Range& range : writableMemory()) {
    if (holds(range, masked)) {
      return true;
    }
  }
  return false;
}

// A file whose first line is a password that stands nowhere in this program.
class PasswordFile {
 public:
  PasswordFile(size_t length, const char* end) {
    for (size_t i = 0; i < length; ++i) {
      masked_ += static_cast<char>(('a' + (i * 7 + length) % 26) ^ kMask);
    }
    const auto close = [](std::FILE* opened) { std::fclose(opened); };
    const std::unique_ptr<std::FILE, decltype(close)> file(std::fopen(name().c_str(), "wb"), close);
    std::setvbuf(file.get(), nullptr, _IONBF, 0);
    for (const char c : masked_) {
      std::fputc(c ^ kMask, file.get());
    }
    std::fputs(end, file.get());
  }
  PasswordFile(const PasswordFile&) = delete;
  PasswordFile& operator=(const PasswordFile&) = delete;
  ~PasswordFile() {
    std::error_code stillOpen;  // as standard input, on Windows
    std::filesystem::remove(name(), stillOpen);
  }

  static std::string name() { return "password_test.txt"; }
  const std::string& masked() const { return masked_; }
  bool isIn(const std::string& text) const {
    bool same = text.size() == masked_.size();
    for (size_t i = 0; same && i < text.size(); ++i) {
      same = (text[i] ^ kMask) == masked_[i];
    }
    return same;
  }

 private:
  std::string masked_;
};

void expectNothingStays(const PasswordFile& file, const char* option) {
  CLI::App app;
  {
    Password password;
    password.addOptions(Command(app));
    std::vector<std::string> arguments = {option};
    if (arguments[0] == "--password-file") {
      arguments.insert(arguments.begin(), PasswordFile::name());
    } else {
      ASSERT_NE(std::freopen(PasswordFile::name().c_str(), "rb", stdin), nullptr);
    }
    app.parse(arguments);
    EXPECT_TRUE(file.isIn(password.get("Password")));
    EXPECT_TRUE(file.isIn(password.get("Password")));  // read once
    EXPECT_TRUE(isInMemory(file.masked()));
  }
  EXPECT_FALSE(isInMemory(file.masked())) << option << ' ' << file.masked().size();
}

TEST(Password, StaysNowhereWhenItIsGone) {
  for (const char* const option : {"--password-file", "--password-stdin"}) {
    expectNothingStays(PasswordFile(12, ""), option);
    expectNothingStays(PasswordFile(300, "\r\nmore\n"), option);
    expectNothingStays(PasswordFile(20000, "\n"), option);
  }
}

}  // namespace
}  // namespace vexahost
