#include "runtime/pse/pse.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <vector>

#include "runtime/counted.h"
#include "runtime/lock.h"
#include "runtime/pkcs12/pfx_decoder.h"
#include "runtime/pkcs12/pkcs12_types.h"
#include "runtime/pse/own_records.h"

namespace vexa::velmora {
namespace {

constexpr std::streamoff kMaxFileSize = 64 << 20;

// A text that is wiped when it goes. Not on the root heap: it outlives the root list's users. No
// std::string, which copies short texts when it moves and leaves them where they were.
class Secret {
 public:
  Secret() = default;
  explicit Secret(const char* text)
      : isNull_(text == nullptr), text_(text, text + (isNull_ ? 0 : std::strlen(text))) {}
  ~Secret() { wipe(text_.data(), text_.size()); }
  Secret(const Secret&) = default;
  Secret& operator=(const Secret&) = delete;
  void swap(Secret& other) noexcept {
    std::swap(isNull_, other.isNull_);
    text_.swap(other.text_);
  }

  Password password() const {
    const runtime::StringObject string{const_cast<char*>(text_.data()), text_.size()};
    return Password(isNull_ ? nullptr : &string);
  }

 private:
  bool isNull_ = true;
  std::vector<char> text_;
};

struct Configuration {
  std::string file;  // UTF-8
  Secret password;
  uint64_t identity = 0;    // goes up with each file and password configured
  uint64_t generation = 1;  // goes up with each reason to read again
};

Lock configurationLock;
Configuration configured;

// The result of `operation`; exceptions become result codes.
template <class Operation>
int32_t withoutExceptions(Operation&& operation) {
  try {
    return operation();
  } catch (const std::bad_alloc&) {
    return kOutOfMemory;
  } catch (...) {
    return kAccessDenied;
  }
}

// May throw std::bad_alloc.
Configuration currentConfiguration() {
  const std::lock_guard lock(configurationLock);
  return configured;
}

// May throw what the standard library throws.
int32_t readFile(const std::string& file, Bytes& out) {
  const auto* const text = reinterpret_cast<const char8_t*>(file.data());
  std::ifstream stream(std::filesystem::path(text, text + file.size()), std::ios::binary);
  stream.seekg(0, std::ios::end);
  const std::streamoff size = stream.tellg();
  if (size < 0 || size > kMaxFileSize) {  // negative: it could not be opened or measured
    return kAccessDenied;
  }
  stream.seekg(0);
  out.resize(static_cast<size_t>(size));
  if (out.failed()) {
    return kOutOfMemory;
  }
  if (size != 0 && !stream.read(reinterpret_cast<char*>(out.data()), size)) {
    return kAccessDenied;
  }
  return kOk;
}

int32_t readOwnRecords(const Configuration& configuration, OwnNodes& out) {
  out.reset();
  if (configuration.file.empty()) {
    return kOk;
  }
  Bytes content;
  int32_t result = readFile(configuration.file, content);
  if (failed(result)) {
    return result;
  }
  const Password password = configuration.password.password();
  if (password.failed()) {
    return kOutOfMemory;
  }
  BagList bags;
  bool verified = false;
  result = decodePfx(content.view(), password, bags.put(), verified);
  if (failed(result)) {
    return result;
  }
  return ownRecordsOf(bags.get(), out.put());
}

struct PseObject : Counted<runtime::Pse> {
  static constexpr char kTypeName[] = "Pse";
  static const runtime::PseTable kTable;

  PseObject() : Counted(&kTable) {}

  Lock lock;
  uint64_t identity = 0;  // of the configuration that was read
  uint64_t generation = 0;
  OwnNodes own;
};

int32_t readLocked(PseObject& pse, const Configuration& configuration) {
  OwnNodes own;
  const int32_t result = withoutExceptions([&] { return readOwnRecords(configuration, own); });
  if (failed(result)) {
    return result;
  }
  pse.own = std::move(own);
  pse.identity = configuration.identity;
  pse.generation = configuration.generation;
  return kOk;
}

// A file that cannot be read at the moment, because somebody is just writing it, leaves what was
// read from it before: the records keep their identity. It is tried again each time. What was read
// from another file is no answer.
int32_t refreshLocked(PseObject& pse) {
  return withoutExceptions([&pse] {
    const Configuration configuration = currentConfiguration();
    if (pse.generation == configuration.generation) {
      return kOk;
    }
    const int32_t result = readLocked(pse, configuration);
    const bool hasOlder = pse.generation != 0 && pse.identity == configuration.identity;
    return failed(result) && hasOlder ? kOk : result;
  });
}

int32_t listOwnCertificates(runtime::Pse* self, const void*, const void*, OwnList** list) {
  if (list == nullptr) {
    return kNullPointer;
  }
  *list = nullptr;
  PseObject& pse = *static_cast<PseObject*>(self);
  const std::lock_guard lock(pse.lock);
  const int32_t result = refreshLocked(pse);
  return failed(result) ? result : copyOwnNodes(pse.own.get(), list);
}

constinit const runtime::PseTable PseObject::kTable = {
    .header = CountedHeader<PseObject>::table(),
    .ListOwnCertificates = listOwnCertificates,
};

}  // namespace

int32_t configurePse(const char* file, const char* password) {
  return withoutExceptions([&] {
    std::string name(file == nullptr ? "" : file);
    Secret secret(password);
    const std::lock_guard lock(configurationLock);
    configured.file.swap(name);
    configured.password.swap(secret);
    ++configured.identity;
    ++configured.generation;
    return kOk;
  });
}

int32_t reloadPse() {
  return withoutExceptions([] {
    {
      const std::lock_guard lock(configurationLock);
      ++configured.generation;
    }
    OwnNodes own;
    return readOwnRecords(currentConfiguration(), own);
  });
}

int32_t makePse(runtime::Pse** out) {
  *out = makeOnHeap<PseObject>();
  return *out == nullptr ? kOutOfMemory : kOk;
}

}  // namespace vexa::velmora
