#include "module/core_list.h"

#include "base/buffer.h"
#include "base/class_registry.h"
#include "base/core_functions.h"
#include "certs/pkcs12.h"
#include "util/scrambler.h"

namespace vexa::module {

constinit const CoreList kCoreList = {
    .GetModuleInfo = base::GetModuleInfo<kCoreListName>,
    .reserved1 = [](void*, void*, void*) { return kOk; },
    .reserved2 = [](void*, void*, void*) {},
    .reserved3 = [](void*, void* second, void*) { return second; },
    .TerminateBuffer = base::TerminateBuffer,
    .AllocBuffer = base::AllocBuffer,
    .BufferFromBytes = base::BufferFromBytes,
    .BufferFromRange = base::BufferFromRange,
    .CreateScrambler = util::CreateScrambler,
    .CreateScramblerEx = util::CreateScramblerEx,
    .EncodeBase64 = base::EncodeBase64,
    .DecodeBase64 = base::DecodeBase64,
    .GetCipherBlockSize = base::GetCipherBlockSize,
    .GetCipherKeyBits = base::GetCipherKeyBits,
    .reserved14 = [](uint32_t, uint8_t) { return kOk; },
    .CreatePkcs12 = certs::aux_create_pkcs12,
    .OpenPkcs12 = certs::aux_open_pkcs12,
};

}  // namespace vexa::module
