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
  const HeapBlock<runtime::PrivateKeyInfo> record(info);
  if (record) {
    clearAlgorithm(&info->algorithm);
    clearBuffer(&info->key);
  }
}

void releaseBag(runtime::SafeBag* bag) {
  const HeapBlock<runtime::SafeBag> record(bag);
  if (!record) {
    return;
  }
  if (bag->type == runtime::kKeyBag) {
    releaseKeyInfo(bag->key);
  } else if (bag->type == runtime::kCertificateBag) {
    Ref<runtime::Certificate> certificate(bag->certificate);
  }
  stringTable.Destroy(bag->friendlyName);
  const HeapBlock<runtime::ByteBuffer> localKeyId(bag->localKeyId);
  if (localKeyId) {
    clearBuffer(localKeyId.get());
  }
}

void releaseParameters(runtime::PfxParameters* parameters) {
  const HeapBlock<runtime::PfxParameters> record(parameters);
  if (!record) {
    return;
  }
  const BagList contents(parameters->contents);
  for (char* name :
       {parameters->macDigest, parameters->bagEncryption1, parameters->bagEncryption2}) {
    freeComponentText(name);
  }
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
