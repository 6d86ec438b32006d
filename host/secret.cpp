#include "secret.h"

namespace vexahost {

void wipe(std::string& text) { wipe(text.data(), text.size()); }

void wipe(char* text, size_t length) {
  volatile char* const bytes = text;
  for (size_t i = 0; i < length; ++i) {
    bytes[i] = '\0';
  }
}

void growSecret(std::string& text, size_t capacity) {
  std::string larger;
  larger.reserve(capacity);
  larger = text;
  wipe(text);
  text.swap(larger);
}

}  // namespace vexahost
