#include "cli/console.h"
#include "options.h"
#include "own_certificates.h"
#include "password.h"

namespace vexahost {
namespace {

struct OwnQuestion {
  std::string pse;
  Password password;
};

void printOwn(Options& options, OwnQuestion& question) {
  const Module module(options.module);
  configurePse(module, question.pse, question.password.get("Password of the PSE"));
  const std::vector<OwnCertificate> certificates = ownCertificates(module);
  Json data = Json::array();
  for (const OwnCertificate& certificate : certificates) {
    data.push_back({{"subject", certificate.subject}, {"issuer", certificate.issuer}});
  }
  options.output.answer(data, [&] {
    for (const OwnCertificate& certificate : certificates) {
      options.output.line("subject  " + visible(certificate.subject));
      options.output.line("issuer   " + visible(certificate.issuer));
    }
  });
}

}  // namespace

void addOwnCommand(Command app, Options& options) {
  Command command = app.command("own", "The user's own certificates");
  const auto question = std::make_shared<OwnQuestion>();
  command.option("--pse", question->pse, "PKCS#12 file that holds them").required();
  question->password.addOptions(command);
  command.onRun([&options, question] { printOwn(options, *question); });
}

}  // namespace vexahost
