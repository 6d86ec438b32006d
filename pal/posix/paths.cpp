#include "pal/posix/paths.h"

#include <cstddef>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr std::size_t kMaxPath = MAX_PATH;
constexpr std::string_view kSeparators = "\\/";

bool isSeparator(char c) { return kSeparators.find(c) != std::string_view::npos; }

unsigned char lower(char c) {
  return static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
}

char separatorOf(std::string_view path, std::string_view more) {
  for (const std::string_view text : {path, more}) {
    const std::size_t at = text.find_first_of(kSeparators);
    if (at != std::string_view::npos) {
      return text[at];
    }
  }
  return '/';
}

// Adds the parts of `text` to `parts`. "." adds nothing; ".." takes the part before it away, which
// leaves a root as it is and stays where a relative path has no part to give.
void addParts(std::string_view text, bool rooted, std::vector<std::string_view>& parts) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find_first_of(kSeparators), text.size());
    const std::string_view part = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (part.empty() || part == ".") {
      continue;
    }
    if (part != ".." || (!rooted && (parts.empty() || parts.back() == ".."))) {
      parts.push_back(part);
    } else if (!parts.empty()) {
      parts.pop_back();
    }
  }
}

std::string join(std::string_view path, std::string_view more) {
  const char separator = separatorOf(path, more);
  const bool rooted = !path.empty() && isSeparator(path.front());
  const std::string_view last = more.empty() ? path : more;
  const bool endsOpen = !last.empty() && isSeparator(last.back());

  std::vector<std::string_view> parts;
  addParts(path, rooted, parts);
  addParts(more, rooted, parts);

  std::string result(rooted ? 1 : 0, separator);
  for (const std::string_view part : parts) {
    result += part;
    result += separator;
  }
  if (!parts.empty() && !endsOpen) {
    result.pop_back();
  }
  if (result.empty()) {
    result += '.';
  }
  return result;
}

}  // namespace

BOOL WINAPI PathAppendA(LPSTR path, LPCSTR more) {
  if (path == nullptr || more == nullptr) {
    return FALSE;
  }
  try {
    const std::string result = join(path, more);
    if (result.size() < kMaxPath) {
      std::memcpy(path, result.c_str(), result.size() + 1);
      return TRUE;
    }
  } catch (const std::bad_alloc&) {
    // Reported as a path that does not fit: there is no other way to fail.
  }
  path[0] = '\0';
  return FALSE;
}

LPSTR WINAPI PathFindExtensionA(LPCSTR path) {
  if (path == nullptr) {
    return nullptr;
  }
  const char* found = nullptr;
  for (; *path != '\0'; ++path) {
    if (*path == '.') {
      found = path;
    } else if (isSeparator(*path) || *path == ' ') {
      found = nullptr;
    }
  }
  return const_cast<LPSTR>(found != nullptr ? found : path);
}

BOOL WINAPI PathAddExtensionA(LPSTR path, LPCSTR extension) {
  if (path == nullptr) {
    return FALSE;
  }
  char* end = PathFindExtensionA(path);
  if (*end != '\0') {
    return FALSE;
  }
  if (extension == nullptr) {
    extension = ".exe";
  }
  const std::size_t length = static_cast<std::size_t>(end - path);
  const std::size_t more = std::strlen(extension);
  if (length + more >= kMaxPath) {
    return FALSE;
  }
  std::memcpy(end, extension, more + 1);
  return TRUE;
}

LPSTR WINAPI PathFindFileNameA(LPCSTR path) {
  if (path == nullptr) {
    return nullptr;
  }
  const char* part = path;
  for (; *path != '\0'; ++path) {
    if (isSeparator(*path) && path[1] != '\0' && !isSeparator(path[1])) {
      part = path + 1;
    }
  }
  return const_cast<LPSTR>(part);
}

BOOL WINAPI PathRemoveFileSpecA(LPSTR path) {
  if (path == nullptr) {
    return FALSE;
  }
  char* cursor = path;
  // A root of one separator, or of two in front of a server's name, stays.
  for (int i = 0; i < 2 && isSeparator(*cursor); ++i) {
    ++cursor;
  }
  char* cut = cursor;
  for (; *cursor != '\0'; ++cursor) {
    if (isSeparator(*cursor)) {
      cut = cursor;
    }
  }
  if (*cut == '\0') {
    return FALSE;
  }
  *cut = '\0';
  return TRUE;
}

int WINAPI lstrcmpiA(LPCSTR left, LPCSTR right) { return _stricmp(left, right); }

int _stricmp(const char* left, const char* right) {
  while (*left != '\0' && lower(*left) == lower(*right)) {
    ++left, ++right;
  }
  return static_cast<int>(lower(*left)) - static_cast<int>(lower(*right));
}
