#include "module/core_list.h"

#include "base/base64.h"
#include "base/buffer.h"
#include "base/cipher_sizes.h"
#include "base/list_registry.h"
#include "pkcs12/pkcs12.h"
#include "scrambler/scrambler.h"

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
    .CreateScrambler = scrambler::CreateScrambler,
    .CreateScramblerEx = scrambler::CreateScramblerEx,
    .EncodeBase64 = base::EncodeBase64,
    .DecodeBase64 = base::DecodeBase64,
    .GetCipherBlockSize = base::GetCipherBlockSize,
    .GetCipherKeyBits = base::GetCipherKeyBits,
    .reserved14 = [](uint32_t, uint8_t) { return kOk; },
    .CreatePkcs12 = pkcs12::aux_create_pkcs12,
    .OpenPkcs12 = pkcs12::aux_open_pkcs12,
};

}  // namespace vexa::module
