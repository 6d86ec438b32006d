#include <gtest/gtest.h>

#include <asio/io_context.hpp>
#include <atomic>
#include <filesystem>

#include "runtime/certificates/certificate_maker.h"
#include "server/answers.h"
#include "vexa/core.h"
#include "vexa/runtime/reference.h"

// Of AddressSanitizer: both are told of each block of the process.
extern "C" {
int __sanitizer_install_malloc_and_free_hooks(void (*allocated)(const volatile void* block,
                                                                size_t size),
                                              void (*freed)(const volatile void* block));
size_t __sanitizer_get_allocated_size(const volatile void* block);
}

// How much memory the endpoint takes to look at certificates that were made to take much.
namespace vexahost {
namespace {

using vexa::test::asManyOf;
using vexa::test::CertificateFields;
using vexa::test::commonName;
using vexa::test::element;
using vexa::test::fromHex;
using vexa::test::manyPurposes;
using vexa::test::smallestFields;

constexpr size_t kLargestBody = 1 << 20;
constexpr size_t kAroundIt = 512;  // of a body that is one certificate

std::atomic<int64_t> bytesNow{0};
std::atomic<int64_t> bytesMost{0};

void countAllocated(const volatile void*, size_t size) {
  const int64_t now = bytesNow += static_cast<int64_t>(size);
  if (now > bytesMost) {
    bytesMost = now;
  }
}
void countFreed(const volatile void* block) {
  if (block != nullptr) {
    bytesNow -= static_cast<int64_t>(__sanitizer_get_allocated_size(block));
  }
}

class InspectMemory : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    ASSERT_NE(__sanitizer_install_malloc_and_free_hooks(countAllocated, countFreed), 0);
  }
  void SetUp() override {
    // As it is where nobody looks for mistakes.
    module_.runtimeFunction<decltype(velmora_watch_heap)>("velmora_watch_heap")(0);
  }

  // Request and answer together.
  void expectBounded(const std::string& body) {
    ASSERT_LE(body.size(), kLargestBody);
    ASSERT_GT(body.size(), kLargestBody - kLargestBody / 8);
    const std::string text =
        "POST /v1/certificates/inspect HTTP/1.1\r\nHost: localhost\r\nContent-Length: " +
        std::to_string(body.size()) + "\r\n\r\n" + body;
    const int64_t before = bytesNow;
    bytesMost = before;
    const auto request = module_.make<vexa::IHTTPRequest>();
    ASSERT_EQ(request->parse(reinterpret_cast<const uint8_t*>(text.data()), text.size()),
              vexa::kOk);
    const Outcome outcome = answerInspect({endpoint_, *request.get(), 0, false});
    EXPECT_LE(bytesMost - before, static_cast<int64_t>(body.size()) * 32);
    EXPECT_EQ(std::get<Reply>(outcome).status, 200u);
  }
  void expectManyBounded(const CertificateFields& fields) {
    expectBounded(asManyOf(pem(fields.certificate()), kLargestBody));
  }
  std::string pem(const std::string& der) {
    const vexa::runtime::ByteBuffer bytes = vexa::borrow(der);
    vexa::BufferHolder text(module_.tables());
    EXPECT_EQ(module_.list<vexa::CoreList>().EncodeBase64(&bytes, text.put()), vexa::kOk);
    std::string body(vexa::view(text.get()));
    std::erase(body, '\r');
    std::erase(body, '\n');
    return "-----BEGIN CERTIFICATE-----" + body + "-----END CERTIFICATE-----";
  }

  Module module_{{.module = std::filesystem::absolute("../bin") / vexa::kModuleFile}};
  asio::io_context context_{1};
  const ServeOptions options_{};
  Endpoint endpoint_{context_, module_, options_, 8420};
};

TEST_F(InspectMemory, OfManySmallCertificatesIsAMultipleOfTheBody) {
  CertificateFields fields = smallestFields();
  expectManyBounded(fields);
  for (const size_t length : {1u, 16u, 100u}) {
    fields.subject = fields.issuer = commonName(element("14", std::string(length, '\x9f')));
    expectManyBounded(fields);
  }
}

TEST_F(InspectMemory, OfManyPurposesIsAMultipleOfTheBody) {
  CertificateFields fields = smallestFields();
  fields.extensions = manyPurposes(kLargestBody - kAroundIt);
  expectBounded(fields.certificate());
  fields.extensions = manyPurposes(kLargestBody / 4 * 3 - kAroundIt);
  expectBounded(pem(fields.certificate()));
}

// A byte that becomes eight in the answer: two characters, each escaped in the name's text, and
// again in JSON.
TEST_F(InspectMemory, OfNamesThatAreEscapedIsAMultipleOfTheBody) {
  CertificateFields fields = smallestFields();
  const auto nameOf = [](size_t length) {
    return commonName(element("14", std::string(length, '\x9f')));
  };
  for (const size_t length : {925'000u, 960'000u, 1'000'000u, 1'048'000u}) {
    fields.subject = nameOf(length);
    fields.issuer = fromHex("3000");
    expectBounded(fields.certificate());
    fields.subject = fields.issuer = nameOf(length / 2);
    expectBounded(fields.certificate());
  }
}

}  // namespace
}  // namespace vexahost
