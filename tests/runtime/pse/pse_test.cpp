#include <cstdio>
#include <filesystem>
#include <fstream>

#include "runtime/pkcs12/pfx_fixture.h"
#include "runtime/samples.h"
#include "support/sweep.h"

namespace vexa::test {
namespace {

class PseTest : public PfxTest {
 protected:
  using OwnList = runtime::OwnCertificateList;
  static void releaseList(OwnList* list) { SpyRuntime::current().pse.OwnListRelease(list); }
  using HeldList = Held<OwnList, releaseList>;

  PseTest() {
    const auto* const test = ::testing::UnitTest::GetInstance()->current_test_info();
    file_ = std::filesystem::temp_directory_path() / (std::string("pse-") + test->name() + ".pfx");
  }
  void TearDown() override {
    EXPECT_EQ(velmora_pse_configure(nullptr, nullptr), kOk);
    std::filesystem::remove(file_);
    PfxTest::TearDown();
  }

  void write(std::string_view content) {
    std::ofstream(file_, std::ios::binary).write(content.data(), std::ssize(content));
  }
  std::string path() const {
    const std::u8string name = file_.u8string();
    return {name.begin(), name.end()};
  }
  // A PSE shows this file.
  void use(std::string_view pfx, const char* password = "secret") {
    write(pfx);
    EXPECT_EQ(velmora_pse_configure(path().c_str(), password), kOk);
  }

  int32_t open(Owned<runtime::Pse>* pse) {
    const runtime::ContextParameters parameters{1, "vexa", nullptr, types.typeOperations, nullptr};
    Owned<runtime::SecurityContext> context;
    const int32_t result = spy.asc.CreateContext(&parameters, context.put());
    if (result < 0) {
      return result;
    }
    return context->table->GetPse(context.get(), pse->put());
  }
  Owned<runtime::Pse> opened() {
    Owned<runtime::Pse> pse;
    EXPECT_EQ(open(&pse), kOk);
    return pse;
  }
  HeldList list(const Owned<runtime::Pse>& pse) {
    HeldList head;
    EXPECT_EQ(pse->table->ListOwnCertificates(pse.get(), nullptr, nullptr, head.put()), kOk);
    return head;
  }

  std::filesystem::path file_;
};

TEST_F(PseTest, WithoutAFileThereAreNoOwnCertificates) {
  const auto pse = opened();
  EXPECT_EQ(list(pse).get(), nullptr);
}

TEST_F(PseTest, ARecordHoldsCertificateIssuerAndSubject) {
  use(samples::kModernPfx);
  const auto pse = opened();
  const HeldList head = list(pse);
  ASSERT_NE(head.get(), nullptr);
  EXPECT_EQ(head->next, nullptr) << "the root has no key here";
  const OwnedCertificate leaf = certificate(samples::kLeaf);
  const OwnedCertificate root = certificate(samples::kRoot);
  const auto* const record = head->record;
  EXPECT_EQ(
      types.CertificateCompare(reinterpret_cast<runtime::Certificate*>(record->field1), leaf.get()),
      0);
  EXPECT_EQ(
      types.CertificateCompare(reinterpret_cast<runtime::Certificate*>(record->field2), root.get()),
      0);
  EXPECT_EQ(attribute(reinterpret_cast<runtime::Name*>(record->field6), "DC"), "example");
}

TEST_F(PseTest, AnUnknownIssuerIsNull) {
  use(samples::kAes128Pfx);
  EXPECT_EQ(list(opened())->record->field2, nullptr);
}

TEST_F(PseTest, TheSameCertificateHasTheSameRecord) {
  use(samples::kModernPfx);
  const auto pse = opened();
  const HeldList first = list(pse);
  EXPECT_EQ(list(pse)->record, first->record);
  EXPECT_EQ(velmora_pse_reload(), kOk);
  EXPECT_EQ(list(pse)->record, first->record);
  EXPECT_EQ(list(opened())->record, first->record) << "another PSE";
  use(samples::kRc4Pfx);
  EXPECT_EQ(list(pse)->record, first->record) << "another file with the same certificate";
}

TEST_F(PseTest, ARecordOutlivesThePse) {
  use(samples::kModernPfx);
  auto pse = opened();
  HeldList head = list(pse);
  runtime::OwnCertificateRecord* const record = std::exchange(head->record, nullptr);
  head.reset();  // frees the node and not the record
  pse.reset();
  EXPECT_EQ(attribute(reinterpret_cast<runtime::Name*>(record->field6), "DC"), "example");
  spy.pse.OwnRecordRelease(record);
  spy.pse.OwnRecordRelease(nullptr);
}

TEST_F(PseTest, AVanishedCertificateIsNotListedAnyMore) {
  use(samples::kModernPfx);
  const auto pse = opened();
  const HeldList before = list(pse);
  ASSERT_NE(before.get(), nullptr);
  EXPECT_EQ(velmora_pse_configure(nullptr, nullptr), kOk);
  EXPECT_EQ(list(pse).get(), nullptr);
}

TEST_F(PseTest, AChangedFileIsReadAfterReload) {
  use(samples::kModernPfx);
  const auto pse = opened();
  ASSERT_NE(list(pse).get(), nullptr);
  write("damaged");
  EXPECT_NE(list(pse).get(), nullptr) << "nobody said that it changed";
  write(samples::kModernPfx);
  EXPECT_EQ(velmora_pse_reload(), kOk);
  EXPECT_NE(list(pse).get(), nullptr);
}

// However often somebody said that the file changed.
TEST_F(PseTest, APseReadsTheFileAfterAnyNumberOfReloads) {
  const HeldParameters made = parameters();
  made->iterations = 1;
  addRsaKey(made.get(), samples::kLeafKey, 0);
  addCertificate(made.get(), samples::kLeaf);
  use(encode(made.get(), "secret"));
  for (int i = 0; i < 100; ++i) {
    ASSERT_EQ(velmora_pse_reload(), kOk);
    ASSERT_NE(list(opened()).get(), nullptr) << i;
  }
}

TEST_F(PseTest, AFileThatCannotBeReadLeavesWhatWasReadFromIt) {
  use(samples::kModernPfx);
  const auto pse = opened();
  auto* const record = list(pse)->record;
  write("damaged");
  EXPECT_EQ(velmora_pse_reload(), kFail);
  EXPECT_EQ(list(pse)->record, record);
  std::filesystem::remove(file_);
  EXPECT_EQ(velmora_pse_reload(), kAccessDenied);
  EXPECT_EQ(list(pse)->record, record);
  write(samples::kModernPfx);
  EXPECT_EQ(list(pse)->record, record) << "tried again without being asked";
}

TEST_F(PseTest, WhatWasReadFromOneFileIsNoAnswerForAnother) {
  use(samples::kModernPfx);
  const auto pse = opened();
  ASSERT_NE(list(pse).get(), nullptr);
  use(samples::kModernPfx, "wrong");
  HeldList head;
  EXPECT_EQ(pse->table->ListOwnCertificates(pse.get(), nullptr, nullptr, head.put()), kFail);
  EXPECT_EQ(head.get(), nullptr);
}

TEST_F(PseTest, AFileThatWasNeverReadIsAFailure) {
  use(samples::kModernPfx, "wrong");
  const auto pse = opened();
  HeldList head;
  EXPECT_EQ(pse->table->ListOwnCertificates(pse.get(), nullptr, nullptr, head.put()), kFail);
  EXPECT_EQ(head.get(), nullptr);
}

TEST_F(PseTest, WhatCannotBeReadSaysWhy) {
  use(samples::kModernPfx, "wrong");
  EXPECT_EQ(velmora_pse_reload(), kFail);
  use(samples::kNoMacPfx);
  EXPECT_EQ(velmora_pse_reload(), kFail);
  EXPECT_EQ(velmora_pse_configure((path() + ".missing").c_str(), "secret"), kOk);
  EXPECT_EQ(velmora_pse_reload(), kAccessDenied);
  EXPECT_EQ(velmora_pse_configure(std::filesystem::temp_directory_path().string().c_str(), ""),
            kOk);
  EXPECT_LT(velmora_pse_reload(), 0) << "a folder";
}

TEST_F(PseTest, AFileOfMoreThan64MebibytesIsNotRead) {
  constexpr uint64_t kMost = 64 << 20;
  use("");
  EXPECT_EQ(velmora_pse_reload(), kFail) << "empty, and read";
  std::filesystem::resize_file(file_, kMost);
  EXPECT_EQ(velmora_pse_reload(), kFail) << "read, and no such file";
  std::filesystem::resize_file(file_, kMost + 1);
  EXPECT_EQ(velmora_pse_reload(), kAccessDenied);
}

TEST_F(PseTest, ACertificateThatTheFileHoldsTwiceIsListedOnce) {
  const HeldParameters made = parameters();
  made->iterations = 1;
  addRsaKey(made.get(), samples::kLeafKey, 0);
  for (const std::string_view der : {samples::kLeaf, samples::kPlain, samples::kLeaf}) {
    addCertificate(made.get(), der);  // the first two have one key
  }
  String password("secret");
  HeldBuffer pfx;
  ASSERT_EQ(spy.pkcs12.Encode(made.get(), password.get(), pfx.put()), kOk);
  use(bytesOf(pfx.get()));
  const HeldList head = list(opened());
  ASSERT_NE(head.get(), nullptr);
  ASSERT_NE(head->next, nullptr);
  EXPECT_NE(head->record, head->next->record);
  EXPECT_EQ(head->next->next, nullptr);
}

TEST_F(PseTest, AFileMayHaveANameInAnyScript) {
  file_.replace_filename(u8"pse-ключ-鍵.pfx");
  use(samples::kEmptyPasswordPfx, "");
  EXPECT_EQ(velmora_pse_reload(), kOk);
  EXPECT_NE(list(opened()).get(), nullptr);
}

TEST_F(PseTest, AContextNeedsVersionOne) {
  runtime::ContextParameters parameters{2, "vexa", nullptr, nullptr, nullptr};
  runtime::SecurityContext* context = reinterpret_cast<runtime::SecurityContext*>(this);
  EXPECT_EQ(spy.asc.CreateContext(&parameters, &context), kInvalidArgument);
  EXPECT_EQ(context, nullptr);
  EXPECT_EQ(spy.asc.CreateContext(nullptr, &context), kNullPointer);
  EXPECT_EQ(spy.asc.CreateContext(&parameters, nullptr), kNullPointer);
}

TEST_F(PseTest, EveryFailedAllocationIsSurvived) {
  use(samples::kRc4Pfx);
  const int swept = sweepAllocations(spy, [&] {
    Owned<runtime::Pse> pse;
    HeldList head;
    int32_t result = open(&pse);
    if (result == kOk) {
      result = pse->table->ListOwnCertificates(pse.get(), nullptr, nullptr, head.put());
    }
    EXPECT_TRUE(result == kOk || result == kOutOfMemory) << result;
    EXPECT_EQ(head.get() != nullptr, result == kOk);
    return result == kOk;
  });
  EXPECT_GT(swept, 20);
}

TEST_F(PseTest, NoPlaceIsANullPointer) {
  const auto pse = opened();
  EXPECT_EQ(pse->table->ListOwnCertificates(pse.get(), nullptr, nullptr, nullptr), kNullPointer);
  const runtime::ContextParameters parameters{1, "vexa", nullptr, types.typeOperations, nullptr};
  Owned<runtime::SecurityContext> context;
  ASSERT_EQ(spy.asc.CreateContext(&parameters, context.put()), kOk);
  EXPECT_EQ(context->table->GetPse(context.get(), nullptr), kNullPointer);
}

// Three records, of which each is the first to go once.
TEST_F(PseTest, ARecordGoesAloneWhereverItStands) {
  const HeldParameters made = parameters();
  made->iterations = 1;
  runtime::SafeBag* const keyBag = addRsaKey(made.get(), samples::kLeafKey, 1);
  ASSERT_EQ(types.BufferFromHex("01", &keyBag->localKeyId), kOk);
  for (const std::string_view der : {samples::kRoot, samples::kLeaf, samples::kPlain}) {
    ASSERT_EQ(types.BufferFromHex("01", &addCertificate(made.get(), der)->localKeyId), kOk);
  }
  String password("secret");
  HeldBuffer file;
  ASSERT_EQ(spy.pkcs12.Encode(made.get(), password.get(), file.put()), kOk);
  use(bytesOf(file.get()));
  for (int gone = 0; gone < 3; ++gone) {
    auto pse = opened();
    HeldList held = list(pse);
    runtime::OwnCertificateRecord* records[3] = {};
    auto* node = held.get();
    for (auto*& record : records) {
      ASSERT_NE(node, nullptr);
      record = std::exchange(node->record, nullptr);
      node = node->next;
    }
    held.reset();
    pse.reset();
    spy.pse.OwnRecordRelease(std::exchange(records[gone], nullptr));
    const auto other = opened();
    const HeldList again = list(other);
    node = again.get();
    for (auto* const record : records) {
      ASSERT_NE(node, nullptr);
      EXPECT_TRUE(record == nullptr || node->record == record) << gone;
      node = node->next;
    }
    for (auto* const record : records) {
      spy.pse.OwnRecordRelease(record);
    }
  }
}

}  // namespace
}  // namespace vexa::test
