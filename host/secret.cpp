#include "secret.h"

namespace vexahost {

void wipe(std::string& text) {
  volatile char* const bytes = text.data();
  for (size_t i = 0; i < text.size(); ++i) {
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
