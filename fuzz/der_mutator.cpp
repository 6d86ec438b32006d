#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

// A mutator for the targets that read DER: elements are repeated, dropped, exchanged and followed
// by bytes that do not belong there, and all lengths around them are made right again, so that not
// every mutation ends at the first length. What does not look like DER is mutated byte by byte.
extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t mostSize);

namespace vexa::fuzz {
namespace {

constexpr int kMostDepth = 40;

struct Element {
  uint8_t tag = 0;
  std::vector<Element> children;  // of what is constructed, or is a string of elements
  std::string content;            // of the others, and what stands behind the children
};

bool takeElements(std::string_view bytes, int depth, std::vector<Element>& out);

bool takeElement(std::string_view& rest, int depth, Element& out) {
  if (rest.size() < 2 || depth > kMostDepth) {
    return false;
  }
  out.tag = static_cast<uint8_t>(rest[0]);
  size_t length = static_cast<uint8_t>(rest[1]);
  size_t header = 2;
  if (length > 0x80 && length <= 0x83 && rest.size() >= header + (length & 3)) {
    header += length & 3;
    length = 0;
    for (const char c : rest.substr(2, header - 2)) {
      length = length << 8 | static_cast<uint8_t>(c);
    }
  } else if (length >= 0x80) {
    return false;
  }
  if (rest.size() - header < length) {
    return false;
  }
  const std::string_view content = rest.substr(header, length);
  const bool mayNest = (out.tag & 0x20) != 0 || out.tag == 0x04;
  if (!mayNest || content.empty() || !takeElements(content, depth + 1, out.children)) {
    out.children.clear();
    out.content = content;
  }
  rest.remove_prefix(header + length);
  return true;
}

bool takeElements(std::string_view bytes, int depth, std::vector<Element>& out) {
  while (!bytes.empty()) {
    Element element;
    if (!takeElement(bytes, depth, element)) {
      return false;
    }
    out.push_back(std::move(element));
  }
  return true;
}

std::string written(const Element& element) {
  std::string content;
  for (const Element& child : element.children) {
    content += written(child);
  }
  content += element.content;
  std::string out(1, static_cast<char>(element.tag));
  if (content.size() < 0x80) {
    out += static_cast<char>(content.size());
  } else {
    std::string length;
    for (size_t left = content.size(); left != 0; left >>= 8) {
      length.insert(length.begin(), static_cast<char>(left & 0xFF));
    }
    out += static_cast<char>(0x80 + length.size());
    out += length;
  }
  return out + content;
}

void collect(Element& element, std::vector<Element*>& out) {
  out.push_back(&element);
  for (Element& child : element.children) {
    collect(child, out);
  }
}

void mutateContent(std::string& content, size_t growth) {
  const size_t size = content.size();
  content.resize(size + growth);
  content.resize(LLVMFuzzerMutate(reinterpret_cast<uint8_t*>(content.data()), size, size + growth));
}

void mutate(Element& root, std::minstd_rand& random) {
  std::vector<Element*> all;
  collect(root, all);
  Element& chosen = *all[random() % all.size()];
  if (chosen.children.empty()) {
    return mutateContent(chosen.content, 8);
  }
  std::vector<Element>& children = chosen.children;
  const size_t at = random() % children.size();
  switch (random() % 5) {
    case 0:
      chosen.content += std::string("\x05\0", 2);  // an element more
      break;
    case 1:
      mutateContent(chosen.content, 4);
      break;
    case 2: {
      const Element copy = *all[random() % all.size()];
      children.insert(children.begin() + static_cast<ptrdiff_t>(at), copy);
      break;
    }
    case 3:
      children.erase(children.begin() + static_cast<ptrdiff_t>(at));
      break;
    default:
      std::swap(children[at], children[random() % children.size()]);
  }
}

}  // namespace
}  // namespace vexa::fuzz

// The first byte may choose how the rest is read; 0x30 is a sequence itself.
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t mostSize,
                                          unsigned seed) {
  using vexa::fuzz::Element;
  std::minstd_rand random(seed);
  const size_t prefix = size != 0 && data[0] != 0x30 ? 1 : 0;
  std::string_view rest(reinterpret_cast<const char*>(data) + prefix, size - prefix);
  Element root;
  if (random() % 4 == 0 || !vexa::fuzz::takeElement(rest, 0, root) || !rest.empty()) {
    return LLVMFuzzerMutate(data, size, mostSize);
  }
  vexa::fuzz::mutate(root, random);
  const std::string made = vexa::fuzz::written(root);
  if (made.size() + prefix > mostSize) {
    return size;
  }
  std::memcpy(data + prefix, made.data(), made.size());
  return prefix + made.size();
}
