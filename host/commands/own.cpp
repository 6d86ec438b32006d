#include <cstdio>

#include "options.h"
#include "own_certificates.h"
#include "password.h"

namespace vexahost {
namespace {

struct OwnQuestion {
  std::string pse;
  Password password;
};

void printOwn(const Options& options, OwnQuestion& question) {
  const Module module(options.module);
  configurePse(module, question.pse, question.password.get("Password of the PSE"));
  for (const OwnCertificate& certificate : ownCertificates(module)) {
    std::printf("subject  %s\nissuer   %s\n", certificate.subject.c_str(),
                certificate.issuer.c_str());
  }
}

}  // namespace

void addOwnCommand(CLI::App& app, Options& options) {
  CLI::App* const command = app.add_subcommand("own", "The user's own certificates");
  const auto question = std::make_shared<OwnQuestion>();
  command->add_option("--pse", question->pse, "PKCS#12 file that holds them")->required();
  question->password.addOptions(*command);
  command->callback([&options, question] { printOwn(options, *question); });
}

}  // namespace vexahost
