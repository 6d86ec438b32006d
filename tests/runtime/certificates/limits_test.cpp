#include <string>

#include "runtime/crypto_fixture.h"
#include "runtime/der/ber.h"
#include "runtime/keys/key.h"
#include "runtime/pkcs12/pkcs12_table.h"
#include "runtime/samples.h"

// What the crypto half refuses, and how far it goes.
namespace vexa::test {
namespace {

class CryptoLimits : public CryptoTest {
 protected:
  static bool readsBer(const std::string& ber) {
    const ExactBytes exact(ber);
    const runtime::ByteBuffer buffer = exact.buffer();
    velmora::Bytes der;
    return velmora::derFromBer({buffer.data, static_cast<size_t>(buffer.length)}, der);
  }
};

TEST_F(CryptoLimits, OnlyAnAuthorityHasALengthOfPath) {
  OwnedCertificate made;
  ASSERT_EQ(velmora_certificate_create(made.put()), kOk);
  EXPECT_EQ(velmora_certificate_set_basic_constraints(made.get(), 0, 0), kInvalidArgument);
  EXPECT_EQ(velmora_certificate_set_basic_constraints(made.get(), 0, 1), kInvalidArgument);
  EXPECT_EQ(velmora_certificate_set_basic_constraints(made.get(), 0, -1), kOk);
  EXPECT_EQ(velmora_certificate_set_basic_constraints(made.get(), 1, 0), kOk);
}

TEST_F(CryptoLimits, AnAttributeOfNothingIsANullPointer) {
  const OwnedCertificate root = certificate(samples::kRoot);
  runtime::Name* const name = root->table->GetSubject(root.get());
  String value;
  EXPECT_EQ(name->table->GetAttribute(nullptr, "CN", value.get()), kNullPointer);
  EXPECT_EQ(name->table->GetAttribute(name, nullptr, value.get()), kNullPointer);
  EXPECT_EQ(name->table->GetAttribute(name, "CN", nullptr), kNullPointer);
}

TEST_F(CryptoLimits, NothingIsMadeWithoutAPlaceForIt) {
  EXPECT_EQ(types.KeyCreate(nullptr), kNullPointer);
  EXPECT_EQ(velmora::pkcs12Table.GetTypes(nullptr), kNullPointer);
}

TEST_F(CryptoLimits, AnAlgorithmWithoutIdentifierIsNotWritten) {
  velmora::Bytes out;
  velmora::DerWriter writer(out);
  velmora::writeAlgorithm({}, writer);
  EXPECT_TRUE(out.failed());
}

TEST_F(CryptoLimits, ABufferThatIsFilledAgainLosesItsBytes) {
  HeldBuffer buffer;
  ASSERT_EQ(types.BufferFromHex("0102", buffer.put()), kOk);
  const auto blocks = spy.liveBlocks();
  runtime::ByteBuffer* again = buffer.get();
  EXPECT_EQ(types.BufferFromHex("03", &again), kOk);
  EXPECT_EQ(again, buffer.get());
  EXPECT_EQ(bytesOf(again), "\x03");
  EXPECT_EQ(spy.liveBlocks(), blocks);
}

// Thirty-two levels below the first are read, of strings in pieces and of others, whatever form
// their lengths have.
TEST_F(CryptoLimits, BerIsReadToItsDepth) {
  for (const char tag : {'\x24', '\x30'}) {
    for (const int levels : {30, 32, 33, 40}) {
      std::string definite = std::string("\x04\x01x");
      std::string indefinite = definite;
      for (int i = 0; i < levels; ++i) {
        definite = std::string{tag, static_cast<char>(definite.size())} + definite;
        indefinite = std::string{tag, '\x80'} + indefinite + std::string(2, '\0');
      }
      EXPECT_EQ(readsBer(definite), levels <= 32) << int{tag} << " " << levels;
      EXPECT_EQ(readsBer(indefinite), levels <= 32) << int{tag} << " " << levels;
    }
  }
}

}  // namespace
}  // namespace vexa::test
