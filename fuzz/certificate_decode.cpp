#include "certificate_oracle.h"

// A certificate, in DER or as text: what is read is what OpenSSL reads from the same bytes, has an
// encoding that reads again as an equal certificate, and nothing stays behind.
namespace vexa::fuzz {
namespace {

using velmora::commonTypesTable;

using Certificate = RuntimeObjectHolder<runtime::Certificate>;

void checkTable(runtime::Certificate* certificate) {
  const auto* const table = certificate->table;
  for (void* time : {table->GetValueA(certificate), table->GetValueB(certificate)}) {
    uint64_t seconds = 0;
    velmora::timeTable.ToUnixSeconds(static_cast<runtime::LibraryTime*>(time), &seconds);
  }
  const runtime::PublicKey* const key = table->GetPublicKey(certificate);
  require(commonTypesTable.KeyCompare(key, key) == 0, "a key equals itself");
  Certificate again;
  const auto* const encoding = table->GetEncoding(certificate);
  require(commonTypesTable.CertificateDecode(encoding, again.put()) == kOk,
          "an encoding reads again");
  require(commonTypesTable.CertificateCompare(certificate, again.get()) == 0,
          "as an equal certificate");
}

void check(std::string_view input) {
  const runtime::ByteBuffer buffer{input.size(),
                                   reinterpret_cast<uint8_t*>(const_cast<char*>(input.data()))};
  Certificate certificate;
  const int32_t result = commonTypesTable.CertificateDecode(&buffer, certificate.put());
  require((result == kOk) == static_cast<bool>(certificate), "a certificate exactly on success");
  size_t used = 0;
  const bool isDer = static_cast<bool>(openSslCertificate(input, &used));
  if (!certificate) {
    return;
  }
  const std::string_view encoding = viewOf(*certificate->table->GetEncoding(certificate.get()));
  require(!isDer || (used == input.size() && encoding == input), "nothing behind a certificate");
  const OpenSslCertificate expected = openSslCertificate(encoding, &used);
  if (expected) {
    require(used == encoding.size(), "nothing behind the encoding");
    requireSame(certificate.get(), expected.get());
  } else {
    require(!isRefusedForItsForm(), "OpenSSL reads it, too");
  }
  checkTable(certificate.get());
}

}  // namespace
}  // namespace vexa::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  return vexa::fuzz::checkInput(data, size, vexa::fuzz::check);
}
