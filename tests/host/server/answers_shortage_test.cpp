#include <gtest/gtest.h>

#include <asio/io_context.hpp>
#include <set>
#include <string>

#include "endtoend/installed_module.h"
#include "runtime/samples.h"
#include "server/answers.h"

// What handlers do when the runtime is short of memory.
namespace vexahost {
namespace {

using vexa::test::Installation;

class AnswersShortage : public testing::Test {
 protected:
  static std::filesystem::path installed(const Installation& installation) {
    const std::string runtime = std::string("../tests/host/short/") + vexa::kRuntimeFile;
    installation.put("app", runtime.c_str(), vexa::kRuntimeFile);
    return installation.put("app", vexa::kModuleFile);
  }

  Installation installation_;
  Module module_{{.module = installed(installation_)}};
  asio::io_context context_{1};
  const ServeOptions options_{};
  Endpoint endpoint_{context_, module_, options_, 8420};
};

TEST_F(AnswersShortage, IsNoFaultOfTheCertificatesThatWereSent) {
  const std::string der(vexa::test::samples::kRoot);
  const std::string text =
      "POST /v1/certificates/inspect HTTP/1.1\r\nContent-Length: " + std::to_string(der.size()) +
      "\r\n\r\n" + der;
  const auto request = module_.make<vexa::IHTTPRequest>();
  ASSERT_EQ(request->parse(reinterpret_cast<const uint8_t*>(text.data()), text.size()), vexa::kOk);
  auto* const failAt = module_.runtimeFunction<void(uint64_t)>("short_runtime_fail_at");
  ASSERT_NE(failAt, nullptr);
  std::set<std::string> told;
  constexpr int kEnough = 4;  // so many on end need no more memory
  int succeeded = 0;
  for (uint64_t number = 1; succeeded < kEnough; ++number) {
    failAt(number);
    try {
      const Outcome outcome = answerInspect({endpoint_, *request.get(), 0, false});
      EXPECT_EQ(std::get<Reply>(outcome).status, 200u) << number;
      ++succeeded;
    } catch (const HostError& error) {
      EXPECT_EQ(error.status(), ExitStatus::kSystem) << error.what();
      told.insert(error.what());
      succeeded = 0;
    }
  }
  failAt(0);
  for (const char* const step : {"reading the body", "reading a name", "building JSON"}) {
    EXPECT_EQ(told.count(std::string(step) + " failed: kOutOfMemory (0x8007000e)"), 1u) << step;
  }
}

}  // namespace
}  // namespace vexahost
