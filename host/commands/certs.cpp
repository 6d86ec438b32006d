#include <cstdio>

#include "certificates.h"
#include "options.h"

namespace vexahost {
namespace {

const char* mark(bool answer) { return answer ? "yes" : "-"; }

void printCertificate(const Module& module, vexa::runtime::Certificate* certificate) {
  const CertificateUses uses = usesOf(module, certificate);
  std::printf("%-8s%-6s%-8s%-5s%-6s%-12s  %s\n", mark(uses.encrypt), mark(uses.sign),
              mark(uses.client), mark(uses.ca), mark(uses.root), mark(uses.selfIssued),
              subjectOf(module, certificate).c_str());
}

void printFiles(const Options& options, const std::vector<std::string>& paths) {
  const Module module(options.module);
  std::printf("%-8s%-6s%-8s%-5s%-6s%-12s  %s\n", "encrypt", "sign", "client", "CA", "root",
              "self-issued", "subject");
  for (const std::string& path : paths) {
    for (const CertificateRef& certificate : readCertificates(module, path)) {
      printCertificate(module, certificate.get());
    }
  }
}

}  // namespace

void addCertsCommand(CLI::App& app, Options& options) {
  CLI::App* const command = app.add_subcommand("certs", "What certificates may be used for");
  const auto paths = std::make_shared<std::vector<std::string>>();
  command->add_option("files", *paths, "PEM or DER files")->required();
  command->callback([&options, paths] { printFiles(options, *paths); });
}

}  // namespace vexahost
