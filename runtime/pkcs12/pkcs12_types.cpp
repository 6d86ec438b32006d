#include "runtime/pkcs12/pkcs12_types.h"

#include "runtime/basic_tables.h"
#include "runtime/keys/key.h"

namespace vexa::velmora {
namespace {

template <class Record>
int32_t create(Record** out) {
  if (out == nullptr) {
    return kNullPointer;
  }
  *out = makeBlock<Record>().release();
  return *out == nullptr ? kOutOfMemory : kOk;
}

void releaseKeyInfo(runtime::PrivateKeyInfo* info) {
  if (info == nullptr) {
    return;
  }
  clearAlgorithm(&info->algorithm);
  clearBuffer(&info->key);
  freeBlock(info);
}

void releaseBag(runtime::SafeBag* bag) {
  if (bag == nullptr) {
    return;
  }
  if (bag->type == runtime::kKeyBag) {
    releaseKeyInfo(bag->key);
  } else if (bag->type == runtime::kCertificateBag) {
    Ref<runtime::Certificate> certificate(bag->certificate);
  }
  stringTable.Destroy(bag->friendlyName);
  if (bag->localKeyId != nullptr) {
    clearBuffer(bag->localKeyId);
    freeBlock(bag->localKeyId);
  }
  freeBlock(bag);
}

void releaseParameters(runtime::PfxParameters* parameters) {
  if (parameters == nullptr) {
    return;
  }
  releaseBagList(parameters->contents);
  for (char* name :
       {parameters->macDigest, parameters->bagEncryption1, parameters->bagEncryption2}) {
    freeComponentText(name);
  }
  freeBlock(parameters);
}

}  // namespace

void releaseBagList(runtime::BagNode* head) {
  releaseChain(head, [](const runtime::BagNode& node) { releaseBag(node.bag); });
}

constinit const runtime::Pkcs12TypesTable pkcs12TypesTable = {
    .reserved0 = nullptr,
    .ParametersCreate = create<runtime::PfxParameters>,
    .ParametersRelease = releaseParameters,
    .BagNodeCreate = create<runtime::BagNode>,
    .BagListRelease = releaseBagList,
    .BagCreate = create<runtime::SafeBag>,
    .BagRelease = releaseBag,
    .PrivateKeyInfoCreate = create<runtime::PrivateKeyInfo>,
    .PrivateKeyInfoRelease = releaseKeyInfo,
};

}  // namespace vexa::velmora
