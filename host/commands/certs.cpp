#include <iterator>

#include "certificates.h"
#include "cli/console.h"
#include "options.h"

namespace vexahost {
namespace {

constexpr const char* kColumns[] = {"encrypt", "sign", "client", "ca", "root", "selfIssued"};

Json describe(const Module& module, vexa::runtime::Certificate* certificate) {
  const CertificateUses uses = usesOf(module, certificate);
  return {{"subject", subjectOf(module, certificate)},
          {"issuer", issuerOf(module, certificate)},
          {"encrypt", uses.encrypt},
          {"sign", uses.sign},
          {"client", uses.client},
          {"ca", uses.ca},
          {"root", uses.root},
          {"selfIssued", uses.selfIssued}};
}

void print(Output& output, const Json& certificates) {
  output.line("encrypt sign  client  CA   root  self-issued   subject");
  constexpr size_t kWidths[] = {8, 6, 8, 5, 6, 14};
  for (const Json& certificate : certificates) {
    std::string line;
    for (size_t i = 0; i < std::size(kColumns); ++i) {
      const std::string mark = certificate[kColumns[i]].get<bool>() ? "yes" : "-";
      line += mark + std::string(kWidths[i] - mark.size(), ' ');
    }
    output.line(line + visible(certificate["subject"].get<std::string>()));
  }
}

// Nothing is shown before every file was read.
void printFiles(Options& options, const std::vector<std::string>& paths) {
  const Module module(options.module);
  Json certificates = Json::array();
  for (const std::string& path : paths) {
    for (const CertificateRef& certificate : readCertificates(module, path)) {
      certificates.push_back(describe(module, certificate.get()));
    }
  }
  options.output.answer(certificates, [&] { print(options.output, certificates); });
}

}  // namespace

void addCertsCommand(Command app, Options& options) {
  Command command = app.command("certs", "What certificates may be used for");
  const auto paths = std::make_shared<std::vector<std::string>>();
  command.option("files", *paths, "PEM or DER files").required();
  command.onRun([&options, paths] { printFiles(options, *paths); });
}

}  // namespace vexahost
