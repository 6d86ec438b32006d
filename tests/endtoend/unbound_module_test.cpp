#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "every_slot.h"
#include "installed_module.h"
#include "support/may_leak.h"
#include "vexa/all.h"

namespace vexa::test {
namespace {

using testing::IsEmpty;

// The built module, loaded from a folder where it finds no runtime.
class UnboundModule : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(spy.boundInterfaces(), 0); }

  Answers callEverything() {
    // What an import opens stays open for the life of the process, which is longer than that of the
    // module here; and what a table made stays when the table that would release it is not bound.
    const MayLeak here;
    Answers answers = callEverySlot(lookup, spy);
    answers.merge(createEveryClass(lookup, spy));
    return answers;
  }

  // What was created while nothing was bound goes with the next end.
  void startAndEnd() {
    EXPECT_EQ(module.init(&spy.root, nullptr), kOk);
    EXPECT_EQ(module.final(), kOk);
  }

  SpyRuntime spy;
  Installation installation;
  LoadedModule module{installation.put("app", kModuleFile)};
  GetModuleInterfaceFunction lookup = nullptr;
};

// What everything answers while nothing is bound; 0 where the answer is a pointer or a truth value
// that would need the runtime.
const Answers kUnbound = {
    {"Certificates", kOk},
    {"Certificates FindOrAdd", kOutOfMemory},
    {"Certificates GetCount", kOk},
    {"ClassFactory.1 CreateInstance", kFail},
    {"ClassFactory.1 GetModuleInfo", kOk},
    {"ClassFactory.1 SetCreateHook", kFail},
    {"OwnCertificates", kFail},
    {"PSE", kOk},
    {"PSE GetContext", kOk},
    {"PSE GetPSE", kOk},
    {"capi_api CspDeleteOwnCerts", kOk},
    {"capi_api CspImport", -1},
    {"capi_api CspImportCACerts", kOk},
    {"capi_api CspImportKey", -1},
    {"capi_api DeleteCACertsByName", -1},
    {"capi_api GetModuleInfo", kOk},
    {"jsonapi CreateObject", kOk},
    {"jsonapi GetModuleInfo", kOk},
    {"jsonapi Parse", kOutOfMemory},
    {"jsonapi object AddArray", kOutOfMemory},
    {"jsonapi object GetKeyAt", kFail},
    {"jsonapi object SetInteger", kOutOfMemory},
    {"jsonapi object SetString", kOutOfMemory},
    {"jsonapi object ToText", kFail},
    {"timeapi ConvertLibraryTime", kOk},
    {"timeapi ConvertTime", kOk},
    {"timeapi GetCurrentFileTime", kOk},
    {"timeapi GetModuleInfo", kOk},
    {"vexa.clientmonitor", kOk},
    {"vexa.clientmonitor CheckNetwork", kOk},
    {"vexa.clientmonitor GetStatus", kOk},
    {"vexa.clientmonitor Reset", kOk},
    {"vexa.clientmonitor StartChangeThread", kOk},
    {"vexa.clientmonitor StopChangeThread", kOk},
    {"vexa.misc.base.asc.1 GetContext", kOk},
    {"vexa.misc.base.asc.1 GetModuleInfo", kOk},
    {"vexa.misc.base.asc.1 GetPse", kOk},
    {"vexa.misc.base.asc.1 PseReserved10", kNotImplemented},
    {"vexa.misc.base.asc.1 PseReserved12", kNotImplemented},
    {"vexa.misc.base.ca.1 CaReserved", kOk},
    {"vexa.misc.base.ca.1 CaSetExtensionA", kOk},
    {"vexa.misc.base.ca.1 CaSetExtensionB", kOk},
    {"vexa.misc.base.ca.1 CaSetExtensionC", kOk},
    {"vexa.misc.base.ca.1 CaSetExtensionD", kOk},
    {"vexa.misc.base.ca.1 CaSetExtensionPair", kOk},
    {"vexa.misc.base.ca.1 GetModuleInfo", kOk},
    {"vexa.misc.base.ca.1 SetKeyUsage", kOk},
    {"vexa.misc.base.certificate.1 AppendCertificate", kOk},
    {"vexa.misc.base.certificate.1 CertificateFromText", kOk},
    {"vexa.misc.base.certificate.1 GetCertificateValueA", 1},
    {"vexa.misc.base.certificate.1 GetCertificateValueB", 1},
    {"vexa.misc.base.certificate.1 GetFirstName", kOk},
    {"vexa.misc.base.certificate.1 GetModuleInfo", kOk},
    {"vexa.misc.base.certificate.1 GetSecondName", kOk},
    {"vexa.misc.base.certificate.1 HasExtendedKeyUsage", kOk},
    {"vexa.misc.base.certificate.1 IsCACertificate", 1},
    {"vexa.misc.base.certificate.1 IsClientAuthCertificate", kOk},
    {"vexa.misc.base.certificate.1 IsEncryptionCertificate", kOk},
    {"vexa.misc.base.certificate.1 IsRootCACertificate", kOk},
    {"vexa.misc.base.certificate.1 IsSelfIssuedEndEntity", kOk},
    {"vexa.misc.base.certificate.1 IsSignatureCertificate", kOk},
    {"vexa.misc.base.core.1 AllocBuffer", -1},
    {"vexa.misc.base.core.1 BufferFromBytes", -1},
    {"vexa.misc.base.core.1 BufferFromRange", -1},
    {"vexa.misc.base.core.1 CreatePkcs12", kFail},
    {"vexa.misc.base.core.1 CreateScrambler", kOk},
    {"vexa.misc.base.core.1 CreateScramblerEx", kOk},
    {"vexa.misc.base.core.1 DecodeBase64", kOutOfMemory},
    {"vexa.misc.base.core.1 EncodeBase64", kOutOfMemory},
    {"vexa.misc.base.core.1 GetCipherBlockSize", kOk},
    {"vexa.misc.base.core.1 GetCipherKeyBits", kOk},
    {"vexa.misc.base.core.1 GetModuleInfo", kOk},
    {"vexa.misc.base.core.1 OpenPkcs12", kFail},
    {"vexa.misc.base.core.1 TerminateBuffer", kOk},
    {"vexa.misc.base.core.1 reserved1", kOk},
    {"vexa.misc.base.core.1 reserved14", kOk},
    {"vexa.misc.base.core.1 reserved2", kOk},
    {"vexa.misc.base.core.1 reserved3", 1},
    {"vexa.misc.base.core.1 scrambler CopyKeyTo", kOk},
    {"vexa.misc.base.core.1 scrambler Initialize", kOutOfMemory},
    {"vexa.misc.base.core.1 scrambler Scramble", kFail},
    {"vexa.misc.base.core.1 scrambler ScrambleString", kFail},
    {"vexa.misc.base.core.1 scrambler Unscramble", kFail},
    {"vexa.misc.base.core.1 scrambler UnscrambleString", kFail},
    {"vexa.misc.base.hashtable.1 CreateHashTable", kOk},
    {"vexa.misc.base.hashtable.1 CreateHashTableEx", kOk},
    {"vexa.misc.base.hashtable.1 GetModuleInfo", kOk},
    {"vexa.misc.base.network.1 ConvertCookiePath", kOk},
    {"vexa.misc.base.network.1 GetIEUserSettingProxy", kFail},
    {"vexa.misc.base.network.1 GetModuleInfo", kOk},
    {"vexa.misc.base.network.1 IsLocalHost", kOk},
    {"vexa.misc.base.network.1 MatchesBypassList", kOk},
    {"vexa.webclient.http.request", kOk},
    {"vexa.webclient.http.request getBodyData", kFail},
    {"vexa.webclient.http.request getHeader", kOutOfMemory},
    {"vexa.webclient.http.request getQueryParameter", kOutOfMemory},
    {"vexa.webclient.http.request parse", kOutOfMemory},
    {"vexa.webclient.http.request readToken", kFail},
    {"vexa.webclient.http.response", kOk},
    {"vexa.webclient.http.response addHeader", kOutOfMemory},
    {"vexa.webclient.http.response serialize", kOutOfMemory},
    {"vexa.webclient.http.response setBody", kOutOfMemory},
    {"vexa.webclient.http.response setProtocol", kOk},
    {"vexa.webclient.http.response setStatus", kNotImplemented},
    {"vexa.webclient.url.parser", kOk},
    {"vexa.webclient.url.parser cmpText", kOk},
    {"vexa.webclient.url.parser getPort", 444},
    {"vexa.webclient.url.parser parse", kOk},
    {"vexa.webclient.url.parser pattern_match", kOk},
};

// The answers that are others than expected.
std::vector<std::string> unlike(const Answers& expected, const Answers& answers) {
  std::vector<std::string> differences;
  for (const auto& [name, answer] : answers) {
    const auto found = expected.find(name);
    if (found == expected.end() || found->second != answer) {
      differences.push_back(name + ": " + resultName(answer));
    }
  }
  for (const auto& [name, answer] : expected) {
    if (answers.count(name) == 0) {
      differences.push_back(name + ": not asked");
    }
  }
  return differences;
}

TEST_F(UnboundModule, IsAskedForEverySlotOfEveryList) {
  ASSERT_EQ(module.init(&spy.root, &lookup), kOk);
  const Answers answers = callEverything();
  EXPECT_EQ(module.final(), kOk);
  forEachType(AllLists(), [&answers](auto type) {
    using List = typename decltype(type)::type;
    for (const ListSlot& slot : ListTraits<List>::kSlots) {
      const std::string name = std::string(ListTraits<List>::kName) + ' ' + slot.name;
      EXPECT_EQ(answers.count(name), 1u) << name;
    }
  });
}

TEST_F(UnboundModule, AnswersBeforeTheFirstStart) {
  ASSERT_EQ(module.init(nullptr, &lookup), kFail) << "no runtime, and so no start";
  EXPECT_THAT(unlike(kUnbound, callEverything()), IsEmpty());
  startAndEnd();
}

TEST_F(UnboundModule, AnswersAfterAFailedCompanion) {
  auto* const getTypes = spy.pkcs12.GetTypes;
  spy.pkcs12.GetTypes = [](const runtime::Pkcs12TypesTable**) { return kAccessDenied; };
  ASSERT_EQ(module.init(&spy.root, &lookup), kAccessDenied);
  callEverything();
  EXPECT_EQ(module.final(), kOk);
  EXPECT_THAT(unlike(kUnbound, callEverything()), IsEmpty());
  spy.pkcs12.GetTypes = getTypes;
  startAndEnd();
}

TEST_F(UnboundModule, AnswersAfterTheLastEndAsBeforeTheFirstStart) {
  ASSERT_EQ(module.init(&spy.root, &lookup), kOk);
  callEverything();
  ASSERT_EQ(module.final(), kOk);
  EXPECT_EQ(spy.liveBlocks(), 0);
  EXPECT_THAT(unlike(kUnbound, callEverything()), IsEmpty());
  startAndEnd();
}

TEST_F(UnboundModule, AnswersAfterAFailedStartAtEachTable) {
  ASSERT_EQ(module.init(&spy.root, &lookup), kOk);
  Answers started = callEverything();
  ASSERT_EQ(module.final(), kOk);
  constexpr int kTables = 14;
  for (int table = 1; table <= kTables; ++table) {
    SCOPED_TRACE(table);
    spy.failBinding(table);
    ASSERT_EQ(module.init(&spy.root, &lookup), kFail);
    for (const auto& [name, answer] : callEverything()) {
      // 0 is null, no, and what tells nothing, such as a scrambler's start that made no key.
      EXPECT_TRUE(failed(answer) || answer == 0 || answer == started[name])
          << name << ": " << answer;
    }
    EXPECT_EQ(module.final(), kOk);
    EXPECT_THAT(unlike(kUnbound, callEverything()), IsEmpty());
    startAndEnd();
  }
}

}  // namespace
}  // namespace vexa::test
