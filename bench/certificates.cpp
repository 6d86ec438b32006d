#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "loaded_module.h"
#include "vexa/core.h"
#include "vexa/holders.h"
#include "vexa/runtime/common_types.h"
#include "vexa/runtime/pkcs12.h"
#include "vexa/runtime/reference_crypto.h"
#include "vexa/runtime/strings.h"

// What an enemy may send: certificates with very many purposes, and PKCS#12 files with very many
// keys and certificates. Their cost has to grow with their size and no faster.
namespace {

using namespace vexa::runtime;
using vexa::BufferHolder;
using vexa::KeyHolder;
using vexa::bench::loadedModule;
using CertificateRef = vexa::RuntimeObjectHolder<Certificate>;

#define RUNTIME(name) loadedModule().runtimeFunction<decltype(name)>(#name)

void need(int32_t result) {
  if (result != vexa::kOk) {
    std::fprintf(stderr, "bench: a step failed (0x%08x)\n", static_cast<unsigned>(result));
    std::exit(1);
  }
}

template <class Table>
const Table& table() {
  using Traits = TableTraits<Table>;
  const void* found = nullptr;
  need(loadedModule().root().GetInterface(Traits::kComponent, Traits::kName, &found));
  return *static_cast<const Table*>(found);
}

const CommonTypes& types() {
  static const CommonTypes& found = table<CommonTypes>();
  return found;
}

// Signed with its own key.
CertificateRef certificateOf(const KeyObject* key, int64_t purposes) {
  CertificateRef owned;
  need(RUNTIME(velmora_certificate_create)(owned.put()));
  Certificate* const certificate = owned.get();
  need(RUNTIME(velmora_certificate_set_subject)(certificate, "CN=Jane"));
  need(
      RUNTIME(velmora_certificate_set_validity)(certificate, "20260101T000000", "20270101T000000"));
  need(RUNTIME(velmora_certificate_set_public_key)(certificate, &key->publicKey));
  const auto add = RUNTIME(velmora_certificate_add_extended_key_usage);
  for (int64_t purpose = 0; purpose < purposes; ++purpose) {
    need(add(certificate, ("1.2." + std::to_string(purpose)).c_str()));
  }
  need(RUNTIME(velmora_certificate_sign)(certificate, key, nullptr));
  return owned;
}

KeyHolder newKey() {
  KeyHolder key(loadedModule().tables());
  need(RUNTIME(velmora_key_generate_ec)("P-256", key.put()));
  return key;
}

void decodePurposes(benchmark::State& state) {
  const KeyHolder key = newKey();
  const CertificateRef made = certificateOf(key.get(), state.range(0));
  const ByteBuffer* const encoding = made->table->GetEncoding(made.get());
  for (auto _ : state) {
    CertificateRef read;
    need(types().CertificateDecode(encoding, read.put()));
  }
}

void append(const Pkcs12TypesTable& bags, BagNode**& end, SafeBag* bag) {
  need(bags.BagNodeCreate(end));
  (*end)->bag = bag;
  end = &(*end)->next;
}

// All have one local key id, so that each certificate belongs to each key.
SafeBag* bagOf(const Pkcs12TypesTable& bags, BagType type) {
  SafeBag* bag = nullptr;
  need(bags.BagCreate(&bag));
  bag->type = type;
  need(types().BufferFromHex("01", &bag->localKeyId));
  return bag;
}

SafeBag* keyBag(const Pkcs12TypesTable& bags, const KeyObject& key) {
  SafeBag* const bag = bagOf(bags, kKeyBag);
  need(bags.PrivateKeyInfoCreate(&bag->key));
  need(types().AlgorithmIdCopy(&bag->key->algorithm, &key.publicKey.algorithm));
  const uint64_t count = key.privateKey.bitLength / 8;
  bag->key->key.data = static_cast<uint8_t*>(loadedModule().root().Allocate(count));
  bag->key->key.length = count;
  std::memcpy(bag->key->key.data, key.privateKey.bytes, count);
  return bag;
}

struct ParametersPolicy : vexa::PointerPolicy<PfxParameters> {
  void release(PfxParameters* parameters) const { bags->ParametersRelease(parameters); }

  const Pkcs12TypesTable* bags;
};
using Parameters = vexa::Holder<ParametersPolicy>;

// So many keys, then the certificate of each; no iterations worth the name.
BufferHolder fileOf(int64_t count, const StringObject* password) {
  const auto& pkcs12 = table<Pkcs12Table>();
  const Pkcs12TypesTable* bags = nullptr;
  need(pkcs12.GetTypes(&bags));
  Parameters parameters(ParametersPolicy{{}, bags});
  need(bags->ParametersCreate(parameters.put()));
  parameters->version = 3;
  parameters->iterations = 1;
  parameters->macDigest = types().TextDuplicate("SHA-1");
  parameters->bagEncryption1 = types().TextDuplicate("pbeWithSHA1And128BitRC4");
  parameters->bagEncryption2 = types().TextDuplicate("pbeWithSHA1And3-KeyTripleDES-CBC");
  BagNode** end = &parameters->contents;
  std::vector<KeyHolder> keys;
  for (int64_t i = 0; i < count; ++i) {
    keys.push_back(newKey());
    append(*bags, end, keyBag(*bags, *keys.back()));
  }
  for (const KeyHolder& key : keys) {
    SafeBag* const bag = bagOf(*bags, kCertificateBag);
    bag->certificate = certificateOf(key.get(), 0).release();
    append(*bags, end, bag);
  }
  auto file = vexa::bench::buffer();
  need(pkcs12.Encode(parameters.get(), password, file.put()));
  return file;
}

void openPairs(benchmark::State& state) {
  const auto& strings = table<StringTable>();
  vexa::String password(strings);
  need(password.assign("pw"));
  const BufferHolder file = fileOf(state.range(0), password.get());
  const auto& core = loadedModule().list<vexa::CoreList>();
  for (auto _ : state) {
    KeyHolder key(loadedModule().tables());
    vexa::CertificateListHolder certificates(loadedModule().tables());
    need(core.OpenPkcs12(file.get(), password.get(), key.put(), certificates.put()));
  }
}

// A name of one part with so many types.
void readTypes(benchmark::State& state) {
  std::string name = "1.2.0=a";
  for (int64_t type = 1; type < state.range(0); ++type) {
    name += "+1.2." + std::to_string(type) + "=a";
  }
  const auto setSubject = RUNTIME(velmora_certificate_set_subject);
  CertificateRef certificate;
  need(RUNTIME(velmora_certificate_create)(certificate.put()));
  for (auto _ : state) {
    need(setSubject(certificate.get(), name.c_str()));
  }
}

// A text of so many beginnings on one line and no certificate.
void readBeginnings(benchmark::State& state) {
  std::string text;
  for (int64_t i = 0; i < state.range(0); ++i) {
    text += "-----BEGIN ";
  }
  const ByteBuffer buffer = vexa::borrow(text);
  for (auto _ : state) {
    CertificateRef read;
    if (types().CertificateDecode(&buffer, read.put()) == vexa::kOk) {
      state.SkipWithError("that was no certificate");
    }
  }
}

BENCHMARK(decodePurposes)
    ->Name("certificates/purposes growing/vexabase")
    ->Arg(30'000)  // with less, all fits into a processor's own cache, which no row is about
    ->Arg(60'000)
    ->Arg(120'000);
BENCHMARK(openPairs)->Name("certificates/pairs growing/vexabase")->Arg(250)->Arg(500)->Arg(1'000);
BENCHMARK(readTypes)
    ->Name("certificates/types growing/vexabase")
    ->Arg(2'000)
    ->Arg(4'000)
    ->Arg(8'000);
BENCHMARK(readBeginnings)
    ->Name("certificates/beginnings growing/vexabase")
    ->Arg(20'000)
    ->Arg(40'000)
    ->Arg(80'000);

}  // namespace
