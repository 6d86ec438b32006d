#include "runtime/crypto_fixture.h"
#include "runtime/samples.h"

namespace vexa::test {
namespace {

class CryptoTypesTest : public CryptoTest {};

TEST_F(CryptoTypesTest, NullArgumentsAreRefusedAndOutsAreCleared) {
  const OwnedCertificate root = certificate(samples::kRoot);
  EXPECT_EQ(types.StringCopy(nullptr, root->table->GetSubject(root.get())), kNullPointer);
  EXPECT_EQ(types.CertificateDecode(nullptr, nullptr), kNullPointer);
  EXPECT_EQ(types.ObjectIdFromText("1.2.3", nullptr), kNullPointer);
  EXPECT_EQ(types.KeyCreate(nullptr), kNullPointer);
  runtime::AlgorithmId algorithm{};
  EXPECT_EQ(types.AlgorithmIdCopy(nullptr, &algorithm), kNullPointer);
  EXPECT_EQ(types.AlgorithmIdCopy(&algorithm, nullptr), kNullPointer);
  runtime::PublicKey key{};
  EXPECT_EQ(types.PublicKeyCopy(nullptr, &key), kNullPointer);
  EXPECT_EQ(types.PublicKeyCopy(&key, nullptr), kNullPointer);
  const uint8_t byte = 0;
  EXPECT_EQ(types.RsaPrivateKeyDecode(&byte, 1, nullptr), kNullPointer);

  auto* decoded = root.get();
  EXPECT_EQ(types.CertificateDecode(nullptr, &decoded), kNullPointer);
  EXPECT_EQ(decoded, nullptr);
  auto* identifier = reinterpret_cast<runtime::ObjectId*>(root.get());
  EXPECT_EQ(types.ObjectIdFromText(nullptr, &identifier), kNullPointer);
  EXPECT_EQ(identifier, nullptr);
  auto* numbers = reinterpret_cast<runtime::RsaPrivateKey*>(root.get());
  EXPECT_EQ(types.RsaPrivateKeyDecode(nullptr, 1, &numbers), kNullPointer);
  EXPECT_EQ(numbers, nullptr);
}

TEST_F(CryptoTypesTest, WhatIsNoCertificateClearsTheOut) {
  const OwnedCertificate root = certificate(samples::kRoot);
  for (const runtime::ByteBuffer& bytes :
       {runtime::ByteBuffer{0, nullptr}, runtime::ByteBuffer{3, nullptr}, bufferOf("text")}) {
    auto* decoded = root.get();
    EXPECT_EQ(types.CertificateDecode(&bytes, &decoded), kFail);
    EXPECT_EQ(decoded, nullptr);
  }
}

// 0 means equal, anything else not.
TEST_F(CryptoTypesTest, ComparisonsTakeNull) {
  const OwnedCertificate root = certificate(samples::kRoot);
  runtime::Name* const name = root->table->GetSubject(root.get());
  EXPECT_NE(types.CertificateCompare(root.get(), nullptr), 0);
  EXPECT_NE(types.CertificateCompare(nullptr, root.get()), 0);
  EXPECT_NE(types.NameCompare(name, nullptr), 0);
  EXPECT_NE(types.NameCompare(nullptr, name), 0);
  EXPECT_NE(types.KeyCompare(root->table->GetPublicKey(root.get()), nullptr), 0);
}

}  // namespace
}  // namespace vexa::test
