#include "runtime/pkcs12/pkcs12_table.h"

#include "runtime/pkcs12/pfx_decoder.h"
#include "runtime/pkcs12/pfx_encoder.h"
#include "runtime/pkcs12/pkcs12_types.h"
#include "vexa/results.h"

// SEC_PKCS12_1.
namespace vexa::velmora {
namespace {

int32_t getTypes(const runtime::Pkcs12TypesTable** out) {
  if (out == nullptr) {
    return kNullPointer;
  }
  *out = &pkcs12TypesTable;
  return kOk;
}

int32_t encode(const runtime::PfxParameters* parameters, const runtime::StringObject* password,
               runtime::ByteBuffer** out) {
  if (parameters == nullptr || out == nullptr) {
    return kNullPointer;
  }
  const Password secret(password);
  if (secret.failed()) {
    return kOutOfMemory;
  }
  Bytes pfx;
  const int32_t result = encodePfx(*parameters, secret, pfx);
  return failed(result) ? result : handOut(std::move(pfx), out);
}

int32_t decode(const runtime::ByteBuffer* data, const void* /*options*/,
               const runtime::StringObject* password, runtime::BagNode** bags, uint8_t* verified) {
  if (verified != nullptr) {
    *verified = 0;
  }
  if (bags != nullptr) {
    *bags = nullptr;
  }
  if (data == nullptr || bags == nullptr || verified == nullptr) {
    return kNullPointer;
  }
  const Password secret(password);
  if (secret.failed()) {
    return kOutOfMemory;
  }
  bool macFits = false;
  const int32_t result = decodePfx(viewOf(*data), secret, bags, macFits);
  *verified = macFits ? 1 : 0;
  return result;
}

}  // namespace

constinit const runtime::Pkcs12Table pkcs12Table = {
    .reserved0 = nullptr, .GetTypes = getTypes, .Encode = encode, .Decode = decode};

}  // namespace vexa::velmora
