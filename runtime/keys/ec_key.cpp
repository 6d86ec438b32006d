#include "runtime/keys/ec_key.h"

#include "runtime/keys/expression.h"

namespace vexa::velmora {
namespace {

using Point = FunctionHolder<gcry_mpi_point, gcry_mpi_point_release>;
using Context = FunctionHolder<gcry_context, gcry_ctx_release>;

}  // namespace

// ECPrivateKey = SEQUENCE { version, privateKey OCTET STRING, parameters [0] OPTIONAL,
//                           publicKey [1] BIT STRING OPTIONAL }
std::optional<EcPrivateNumbers> readEcPrivateKey(ByteView der) {
  const auto sequence = derContent(der, kSequence);
  if (!sequence) {
    return std::nullopt;
  }
  DerReader reader(*sequence);
  const auto version = reader.take(kInteger);
  const auto secret = reader.take(kOctetString);
  if (!version || derSmallInteger(version->content) != 1u || !secret || secret->content.empty()) {
    return std::nullopt;
  }
  EcPrivateNumbers numbers{secret->content, {}, {}};
  if (reader.nextIs(contextTag(0, true))) {
    const auto parameters = reader.take(contextTag(0, true));
    const auto curve = parameters ? derContent(parameters->content, kObjectId) : std::nullopt;
    if (!curve) {
      return std::nullopt;
    }
    numbers.curve = *curve;
  }
  if (reader.nextIs(contextTag(1, true))) {
    const auto tagged = reader.take(contextTag(1, true));
    const auto bits = tagged ? derContent(tagged->content, kBitString) : std::nullopt;
    const auto point = bits ? derBitStringBytes(*bits) : std::nullopt;
    if (!point) {
      return std::nullopt;
    }
    numbers.point = *point;
  }
  return reader.atEnd() ? std::optional(numbers) : std::nullopt;
}

const Curve* curveOf(const runtime::AlgorithmId& algorithm) {
  const auto identifier = derContent(viewOf(algorithm.parameters), kObjectId);
  return identifier ? findCurve(*identifier) : nullptr;
}

void writeEcPrivateKey(const Curve& curve, ByteView secret, ByteView point, Bytes& out) {
  DerWriter writer(out);
  const size_t sequence = writer.begin(kSequence);
  writer.smallInteger(1);
  writer.element(kOctetString, secret);
  const size_t parameters = writer.begin(contextTag(0, true));
  writer.objectId(curve.objectId);
  writer.end(parameters);
  const size_t tagged = writer.begin(contextTag(1, true));
  writer.bitString(point);
  writer.end(tagged);
  writer.end(sequence);
}

int32_t appendPoint(const Curve& curve, ByteView secret, Bytes& out) {
  if (!libraryReady()) {
    return kFail;
  }
  Context context;
  if (gcry_mpi_ec_new(context.put(), nullptr, curve.libraryName) != 0) {
    return kOutOfMemory;
  }
  Mpi d;
  if (gcry_mpi_scan(d.put(), GCRYMPI_FMT_USG, secret.data(), secret.size(), nullptr) != 0) {
    return kOutOfMemory;
  }
  const Mpi order(gcry_mpi_ec_get_mpi("n", context.get(), 1));
  if (gcry_mpi_cmp_ui(d.get(), 0) <= 0 || !order || gcry_mpi_cmp(d.get(), order.get()) >= 0) {
    return kInvalidArgument;
  }
  const Point generator(gcry_mpi_ec_get_point("g", context.get(), 1));
  const Point product(gcry_mpi_point_new(0));
  const Mpi x(gcry_mpi_new(0));
  const Mpi y(gcry_mpi_new(0));
  if (!generator) {
    return kFail;
  }
  gcry_mpi_ec_mul(product.get(), d.get(), generator.get(), context.get());
  if (gcry_mpi_ec_get_affine(x.get(), y.get(), product.get(), context.get()) != 0) {
    return kFail;
  }
  out.append(uint8_t{4});
  if (!appendNumber(x.get(), curve.orderBytes, out) ||
      !appendNumber(y.get(), curve.orderBytes, out)) {
    return kFail;
  }
  return out.failed() ? kOutOfMemory : kOk;
}

}  // namespace vexa::velmora
