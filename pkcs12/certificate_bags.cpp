#include "pkcs12/certificate_bags.h"

#include <algorithm>

#include "base/buffer.h"

namespace vexa::pkcs12 {
namespace {

bool isCertificateBag(const runtime::SafeBag* bag) {
  return bag != nullptr && bag->type == runtime::kCertificateBag && bag->certificate != nullptr;
}

}  // namespace

int32_t CertificateBags::collect(const runtime::BagNode* bags) {
  for (const auto* node = bags; node != nullptr; node = node->next) {
    if (!isCertificateBag(node->bag)) {
      continue;
    }
    if (node->bag->localKeyId != nullptr && failed(byId_.append(size()))) {
      return kOutOfMemory;
    }
    if (failed(bags_.append(node->bag))) {
      return kOutOfMemory;
    }
  }
  return makeGroups();
}

int32_t CertificateBags::makeGroups() {
  std::sort(byId_.begin(), byId_.end(), [this](uint64_t a, uint64_t b) {
    const int difference = base::compareBytes(idOf(a), idOf(b));
    return difference != 0 ? difference < 0 : a < b;
  });
  for (const uint64_t *begin = byId_.begin(), *end = begin; begin != byId_.end(); begin = end) {
    while (end != byId_.end() && base::compareBytes(idOf(*end), idOf(*begin)) == 0) {
      ++end;
    }
    if (failed(groups_.append({{begin, end}, false}))) {
      return kOutOfMemory;
    }
  }
  return kOk;
}

CertificateBags::Group* CertificateBags::withId(const runtime::ByteBuffer& id) const {
  Group* const group =
      std::partition_point(groups_.begin(), groups_.end(), [this, &id](const Group& other) {
        return base::compareBytes(idOf(other.numbers.front()), id) < 0;
      });
  return group == groups_.end() || base::compareBytes(idOf(group->numbers.front()), id) != 0
             ? nullptr
             : group;
}

}  // namespace vexa::pkcs12
