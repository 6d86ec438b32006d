#include <cstdio>

#include "certificates.h"
#include "options.h"
#include "vexa/certificates.h"

namespace vexahost {
namespace {

const char* mark(int32_t answer) { return answer != 0 ? "yes" : "-"; }

void printCertificate(const Module& module, vexa::runtime::Certificate* certificate) {
  const auto& list = module.list<vexa::CertificateFunctions>(vexa::kCertificateListName);
  std::printf("%-8s%-6s%-8s%-5s%-6s%-12s  %s\n", mark(list.IsEncryptionCertificate(certificate)),
              mark(list.IsSignatureCertificate(certificate)),
              mark(list.IsClientAuthCertificate(certificate)),
              mark(list.IsCACertificate(certificate)), mark(list.IsRootCACertificate(certificate)),
              mark(list.IsSelfIssuedEndEntity(certificate)),
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
