#include "pe_file.h"

#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace vexa::test {
namespace {

constexpr uint32_t kExportDirectory = 0;
constexpr uint32_t kImportDirectory = 1;
constexpr uint32_t kImportDescriptorSize = 20;
constexpr uint64_t kImportByOrdinal = uint64_t{1} << 63;

// Offsets are taken from the start of the file; addresses are relative to the image.
class Image {
 public:
  explicit Image(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    bytes_.assign(std::istreambuf_iterator<char>(file), {});
    header_ = read32(0x3C);
    if (text(0).substr(0, 2) != "MZ" || read32(header_) != 0x00004550 ||
        read16(header_ + 24) != 0x20B) {
      throw std::runtime_error("not a 64-bit image: " + path.string());
    }
  }

  uint32_t directory(uint32_t index) const { return read32(header_ + 24 + 112 + 8 * index); }

  uint32_t offsetOf(uint32_t address) const {
    const uint32_t sections = header_ + 24 + read16(header_ + 20);
    for (uint32_t i = 0; i < read16(header_ + 6); ++i) {
      const uint32_t section = sections + 40 * i;
      const uint32_t start = read32(section + 12);
      if (address >= start && address < start + read32(section + 16)) {
        return read32(section + 20) + address - start;
      }
    }
    throw std::runtime_error("an address outside every section");
  }

  uint32_t read32(uint64_t offset) const { return read<uint32_t>(offset); }
  uint64_t read64(uint64_t offset) const { return read<uint64_t>(offset); }
  uint16_t read16(uint64_t offset) const { return read<uint16_t>(offset); }
  std::string text(uint64_t offset) const {
    std::string result;
    for (; read<char>(offset) != '\0'; ++offset) {
      result += read<char>(offset);
    }
    return result;
  }

 private:
  template <class T>
  T read(uint64_t offset) const {
    if (offset + sizeof(T) > bytes_.size()) {
      throw std::runtime_error("an offset outside the file");
    }
    T value;
    std::memcpy(&value, bytes_.data() + offset, sizeof(T));
    return value;
  }

  std::vector<char> bytes_;
  uint32_t header_ = 0;
};

}  // namespace

PeNames readPeNames(const std::filesystem::path& file) {
  const Image image(file);
  PeNames names;
  const uint32_t exports = image.offsetOf(image.directory(kExportDirectory));
  const uint32_t exportNames = image.offsetOf(image.read32(exports + 32));
  for (uint32_t i = 0; i < image.read32(exports + 24); ++i) {
    names.exports.push_back(image.text(image.offsetOf(image.read32(exportNames + 4 * i))));
  }
  for (uint32_t entry = image.offsetOf(image.directory(kImportDirectory));
       image.read32(entry + 12) != 0; entry += kImportDescriptorSize) {
    names.importedLibraries.push_back(image.text(image.offsetOf(image.read32(entry + 12))));
    for (uint64_t lookup = image.offsetOf(image.read32(entry)); image.read64(lookup) != 0;
         lookup += sizeof(uint64_t)) {
      if ((image.read64(lookup) & kImportByOrdinal) == 0) {
        const uint32_t hint = image.offsetOf(image.read32(lookup));
        names.importedFunctions.push_back(image.text(hint + sizeof(uint16_t)));
      }
    }
  }
  return names;
}

}  // namespace vexa::test
