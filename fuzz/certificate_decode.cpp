#include <cstdlib>
#include <initializer_list>

#include "runtime/basic_tables.h"
#include "runtime/exports/common_types.h"
#include "runtime/heap.h"
#include "vexa/results.h"

// A certificate, in DER or as text: what is read has an encoding that reads again as an equal
// certificate, every accessor answers, and nothing stays behind.
namespace {

using namespace vexa;
using namespace vexa::velmora;

void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

void readAll(runtime::Certificate* certificate) {
  const auto* const table = certificate->table;
  for (runtime::Name* name : {table->GetIssuer(certificate), table->GetSubject(certificate)}) {
    runtime::StringObject text{};
    require(commonTypes().StringCopy(&text, name) == kOk);
    require((name == nullptr) == (text.length == 0));
    if (name != nullptr) {
      require(name->table->GetAttribute(name, "CN", &text) == kOk);
    }
    stringTable.Clear(&text);
  }
  for (void* time : {table->GetValueA(certificate), table->GetValueB(certificate)}) {
    uint64_t seconds = 0;
    timeTable.ToUnixSeconds(static_cast<runtime::LibraryTime*>(time), &seconds);
  }
  if (const uint8_t* flags = table->GetKeyUsage(certificate)) {
    for (int i = 0; i < runtime::kKeyUsageFlags; ++i) {
      require(flags[i] <= 1);
    }
  }
  for (auto* usage = table->GetExtendedKeyUsage(certificate); usage != nullptr;
       usage = usage->next) {
    require(commonTypes().ObjectIdCompare(usage->identifier, usage->identifier) == 0);
  }
  const runtime::PublicKey* const key = table->GetPublicKey(certificate);
  require(key != nullptr && commonTypes().KeyCompare(key, key) == 0);
  require(table->IsSelfSigned(certificate) <= 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const uint64_t before = liveBlocks();
  const runtime::ByteBuffer input{size, const_cast<uint8_t*>(data)};
  runtime::Certificate* certificate = nullptr;
  const int32_t result = commonTypes().CertificateDecode(&input, &certificate);
  require((result == kOk) == (certificate != nullptr));
  if (certificate != nullptr) {
    readAll(certificate);
    runtime::Certificate* again = nullptr;
    const auto* const encoding = certificate->table->GetEncoding(certificate);
    require(commonTypes().CertificateDecode(encoding, &again) == kOk);
    require(commonTypes().CertificateCompare(certificate, again) == 0);
    again->table->header.Release(reinterpret_cast<runtime::Object*>(again));
    certificate->table->header.Release(reinterpret_cast<runtime::Object*>(certificate));
  }
  require(liveBlocks() == before);
  return 0;
}
