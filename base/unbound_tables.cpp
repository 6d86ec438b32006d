#include <type_traits>

#include "base/tables.h"
#include "vexa/results.h"

// Reserved slots stay null: nobody calls them.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace vexa::base {
namespace {

template <class Result, class... Arguments>
using Function = Result (*)(Arguments...);

// Becomes whichever function a slot wants: a result is kFail, anything else empty.
struct Fails {
  template <class Result, class... Arguments>
  // NOLINTNEXTLINE(google-explicit-constructor): it stands where a function is wanted
  constexpr operator Function<Result, Arguments...>() const {
    return [](Arguments...) -> Result {
      if constexpr (std::is_same_v<Result, int32_t>) {
        return kFail;
      } else {
        return Result();
      }
    };
  }
};
constexpr Fails kFails;

void traceNothing(uint32_t, const char*, uint64_t, const char*, ...) {}

constexpr runtime::TypeOperations kUnboundTypeOperations = {.Duplicate = kFails};

}  // namespace

template <>
constinit const runtime::RootList Unbound<runtime::RootList>::table = {
    .ReleaseRoot = kFails,
    .GetInterface = kFails,
    .ReleaseInterface = kFails,
    .Allocate = kFails,
    .Reallocate = kFails,
    .Free = kFails,
};

template <>
constinit const runtime::Pkcs12Table Unbound<runtime::Pkcs12Table>::table = {
    .GetTypes = kFails,
    .Encode = kFails,
    .Decode = kFails,
};

template <>
constinit const runtime::Pkcs12TypesTable Unbound<runtime::Pkcs12TypesTable>::table = {
    .ParametersCreate = kFails,
    .ParametersRelease = kFails,
    .BagNodeCreate = kFails,
    .BagListRelease = kFails,
    .BagCreate = kFails,
    .BagRelease = kFails,
    .PrivateKeyInfoCreate = kFails,
    .PrivateKeyInfoRelease = kFails,
};

template <>
constinit const runtime::CommonTypes Unbound<runtime::CommonTypes>::table = {
    .typeOperations = &kUnboundTypeOperations,
    .TextDuplicate = kFails,
    .TextRelease = kFails,
    .BufferRelease = kFails,
    .BufferCompare = kFails,
    .BufferFromHex = kFails,
    .StringCopy = kFails,
    .NameCompare = kFails,
    .CertificateDecode = kFails,
    .CertificateCompare = kFails,
    .CertificateListRelease = kFails,
    .ObjectIdFromText = kFails,
    .ObjectIdCompare = kFails,
    .KeyCompare = kFails,
    .AlgorithmIdCopy = kFails,
    .PublicKeyCopy = kFails,
    .KeyCreate = kFails,
    .KeyRelease = kFails,
    .RsaPrivateKeyDecode = kFails,
    .RsaPrivateKeyRelease = kFails,
};

template <>
constinit const runtime::EncodeTable Unbound<runtime::EncodeTable>::table = {
    .Base64Encode = kFails,
    .Base64Decode = kFails,
    .SetBlob = kFails,
};

template <>
constinit const runtime::StringTable Unbound<runtime::StringTable>::table = {
    .TextRelease = kFails,
    .TextDuplicate = kFails,
    .TextCompare = kFails,
    .Create = kFails,
    .Destroy = kFails,
    .Clear = kFails,
    .AssignBytes = kFails,
    .AssignText = kFails,
    .AppendText = kFails,
    .GetText = [](const runtime::StringObject*) { return ""; },
    .GetLength = kFails,
    .Compare = kFails,
    .CompareWithText = kFails,
    .Normalise = kFails,
    .Decode = kFails,
    .Trim = kFails,
    .SplitFirst = kFails,
};

template <>
constinit const runtime::MultiStringTable Unbound<runtime::MultiStringTable>::table = {};

template <>
constinit const runtime::IoTable Unbound<runtime::IoTable>::table = {
    .CreateMemoryStream = kFails,
    .Write = kFails,
    .GetContent = kFails,
};

template <>
constinit const runtime::UrlTable Unbound<runtime::UrlTable>::table = {.Split = kFails};

template <>
constinit const runtime::WideStringTable Unbound<runtime::WideStringTable>::table = {
    .TextRelease = kFails,
    .TextDuplicate = kFails,
    .TextCompare = kFails,
    .Create = kFails,
    .Destroy = kFails,
    .Clear = kFails,
    .AssignUnits = kFails,
    .AssignText = kFails,
    .AppendText = kFails,
    .GetText = [](const runtime::WideStringObject*) { return u""; },
    .GetLength = kFails,
    .Compare = kFails,
    .Trim = kFails,
    .SplitFirst = kFails,
    .Find = [](const runtime::WideStringObject*, const char16_t*,
               uint64_t) { return runtime::kNotFound; },
    .WildcardMatch = kFails,
    .FromMultiByte = kFails,
    .ToMultiByte = kFails,
};

template <>
constinit const runtime::AscTable Unbound<runtime::AscTable>::table = {.CreateContext = kFails};

template <>
constinit const runtime::CryptTable Unbound<runtime::CryptTable>::table = {
    .GenerateKey = kFails,
    .Cipher = kFails,
    .GetOutputSize = kFails,
};

template <>
constinit const runtime::RandomTable Unbound<runtime::RandomTable>::table = {.GetBytes = kFails};

template <>
constinit const runtime::TimeTable Unbound<runtime::TimeTable>::table = {.ToUnixSeconds = kFails};

template <>
constinit const runtime::NotifyTable Unbound<runtime::NotifyTable>::table = {
    .Message = traceNothing,
    .MessageList = kFails,
    .GetLevel = kFails,
};

template <>
constinit const runtime::PseListTable Unbound<runtime::PseListTable>::table = {
    .OwnListRelease = kFails,
    .OwnRecordRelease = kFails,
};

}  // namespace vexa::base
