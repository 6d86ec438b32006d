#include <string>

#include "runtime/certificates/certificate_maker.h"
#include "runtime/crypto_fixture.h"

// How much memory certificates take that were made to take much.
namespace vexa::test {
namespace {

constexpr size_t kSize = 1 << 18;

class CertificateMemory : public CryptoTest {
 protected:
  // The most bytes at a time that an operation takes beside those that are there already.
  template <class Operation>
  int64_t mostBytesOf(const Operation& operation) {
    const int64_t before = spy.liveBytes();
    spy.forgetMostBytes();
    operation();
    return spy.mostBytes() - before;
  }

  OwnedCertificate expectBoundedDecoding(const std::string& der) {
    OwnedCertificate made;
    const int64_t most = mostBytesOf([&] { EXPECT_EQ(decode(der, made.put()), kOk); });
    EXPECT_LE(most, static_cast<int64_t>(der.size()) * 16 + 1024);
    return made;
  }
  void expectBoundedNames(const std::string& subject) {
    CertificateFields fields;
    fields.subject = subject;
    const OwnedCertificate made = expectBoundedDecoding(fields.certificate());
    runtime::Name* const name = made->table->GetSubject(made.get());
    const int64_t most = mostBytesOf([&] {
      EXPECT_FALSE(text(name).empty());
      attribute(name, "CN");
    });
    EXPECT_LE(most, static_cast<int64_t>(subject.size()) * 16 + 1024);
  }
};

TEST_F(CertificateMemory, IsAMultipleOfTheEncodingWhateverItIsFullOf) {
  const std::string bytes(kSize, '\1');
  CertificateFields fields;
  fields.serial = element("02", bytes);
  expectBoundedDecoding(fields.certificate());
  fields = {};
  fields.key = element("30", kRsaSha256 + element("03", std::string(1, '\0') + bytes));
  expectBoundedDecoding(fields.certificate());
  fields = {};
  fields.signature = element("03", std::string(1, '\0') + bytes);
  expectBoundedDecoding(fields.certificate());
  fields = {};
  fields.extensions = manyPurposes(kSize);
  expectBoundedDecoding(fields.certificate());
  fields.extensions = element("a3", element("30", asManyOf(fromHex("300706012a04020500"), kSize)));
  expectBoundedDecoding(fields.certificate());
  const std::string names = element("30", asManyOf(fromHex("820161"), kSize));
  fields.extensions = extension(fromHex("0603551d11") + element("04", names));
  expectBoundedDecoding(fields.certificate());
}

TEST_F(CertificateMemory, IsAMultipleOfANameWhateverItIsFullOf) {
  for (const char* const type : {"0603550403", "06022a03"}) {
    for (const char* const tag : {"0c", "14", "1e"}) {
      for (const char* const unit : {"6162", "0102", "9f9f", "4e2d", "5c5c"}) {
        expectBoundedNames(nameOf(type, element(tag, asManyOf(fromHex(unit), kSize))));
      }
    }
    const std::string attribute = element("30", fromHex(type) + fromHex("0c0101"));
    expectBoundedNames(element("30", element("31", asManyOf(attribute, kSize))));
    const std::string relative = element("31", attribute);
    expectBoundedNames(element("30", asManyOf(relative, 1024 * relative.size())));
  }
  const std::string longType = element("06", asManyOf(fromHex("010203"), kSize));
  expectBoundedNames(element("30", element("31", element("30", longType + fromHex("0500")))));
}

}  // namespace
}  // namespace vexa::test
