#include "runtime/keys/key_generation.h"

#include "runtime/keys/ec_key.h"
#include "runtime/keys/expression.h"
#include "runtime/keys/signing.h"

namespace vexa::velmora {
namespace {

constexpr uint8_t kNoParameters[] = {kNull, 0};

// d mod (prime - 1)
Mpi exponentFor(gcry_mpi_t d, gcry_mpi_t prime) {
  Mpi reduced(gcry_mpi_new(0));
  const Mpi order(gcry_mpi_new(0));
  gcry_mpi_sub_ui(order.get(), prime, 1);
  gcry_mpi_mod(reduced.get(), d, order.get());
  return reduced;
}

// libgcrypt's coefficient is the inverse of p modulo q, where PKCS#1 has that of its second prime
// modulo its first. So the two primes change places. False when libgcrypt made something else.
bool writeRsaPrivateKey(gcry_sexp_t pair, uint32_t bits, Bytes& out) {
  const Mpi n = takeNumber(pair, "n");
  const Mpi e = takeNumber(pair, "e");
  const Mpi d = takeNumber(pair, "d");
  const Mpi prime1 = takeNumber(pair, "q");
  const Mpi prime2 = takeNumber(pair, "p");
  const Mpi u = takeNumber(pair, "u");
  if (!n || !e || !d || !prime1 || !prime2 || !u || gcry_mpi_get_nbits(n.get()) != bits) {
    return false;
  }
  const Mpi exponent1 = exponentFor(d.get(), prime1.get());
  const Mpi exponent2 = exponentFor(d.get(), prime2.get());
  DerWriter writer(out);
  const size_t mark = writer.begin(kSequence);
  writer.smallInteger(0);
  for (const Mpi* number : {&n, &e, &d, &prime1, &prime2, &exponent1, &exponent2, &u}) {
    writeNumber(number->get(), writer);
  }
  writer.end(mark);
  return true;
}

Sexp generate(const Sexp& parameters) {
  Sexp generated;
  if (!parameters || gcry_pk_genkey(generated.put(), parameters.get()) != 0) {
    return {};
  }
  return generated;
}

}  // namespace

int32_t generateRsaKey(uint32_t bits, bool allowShort, bool allowUneven, runtime::KeyObject** out) {
  const uint32_t least = allowShort ? kLeastRsaBits : kLeastStrongRsaBits;
  const uint32_t step = allowUneven ? 2 : 8;
  if (bits < least || bits > 8 * kMaxModulusBytes || bits % step != 0) {
    return kInvalidArgument;
  }
  if (!libraryReady()) {
    return kFail;
  }
  const Sexp pair = generate(buildExpression("(genkey (rsa (nbits %d)))", static_cast<int>(bits)));
  Bytes privateBytes;
  if (!pair || !writeRsaPrivateKey(pair.get(), bits, privateBytes)) {
    return kFail;
  }
  return makeKeyPair({kRsaEncryption.content(), kNoParameters}, privateBytes, out);
}

int32_t generateEcKey(const char* name, runtime::KeyObject** out) {
  const Curve* const curve = findCurve(std::string_view(name));
  if (curve == nullptr) {
    return kInvalidArgument;
  }
  if (!libraryReady()) {
    return kFail;
  }
  const Sexp pair = generate(buildExpression("(genkey (ecc (curve %s)))", curve->libraryName));
  const Mpi d = pair ? takeNumber(pair.get(), "d") : Mpi();
  Bytes secret;
  if (!d || !appendNumber(d.get(), curve->orderBytes, secret)) {
    return kFail;
  }
  Bytes point;
  const int32_t result = secret.failed() ? kOutOfMemory : appendPoint(*curve, secret.view(), point);
  if (failed(result)) {
    return result;
  }
  Bytes privateBytes;
  writeEcPrivateKey(*curve, secret.view(), point.view(), privateBytes);
  Bytes parameters;
  DerWriter(parameters).objectId(curve->objectId);
  return parameters.failed()
             ? kOutOfMemory
             : makeKeyPair({kEcPublicKey.content(), parameters.view()}, privateBytes, out);
}

}  // namespace vexa::velmora
