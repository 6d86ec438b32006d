#pragma once

#include "runtime/der/der_reader.h"
#include "runtime/holders.h"
#include "runtime/pkcs12/pkcs12_types.h"

namespace vexa::velmora {

// The list of bags that the reading of a PKCS#12 file makes. Content and attributes are DER.
class PfxBags {
 public:
  runtime::BagNode* release() { return bags_.release(); }
  bool haveKey() const { return haveKey_; }

  // PrivateKeyInfo (RFC 5958); of a shrouded bag what was encrypted.
  int32_t addKey(ByteView info, bool shrouded, ByteView attributes);
  // CertBag. What is no X.509 certificate is passed over.
  int32_t addCertificate(ByteView value, ByteView attributes);

 private:
  int32_t append(uint32_t type, ByteView attributes, runtime::SafeBag*& bag);

  Chain<BagList> bags_;
  bool haveKey_ = false;
};

}  // namespace vexa::velmora
