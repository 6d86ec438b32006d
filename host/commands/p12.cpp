#include <cstdio>

#include "certificates.h"
#include "files.h"
#include "options.h"
#include "password.h"

namespace vexahost {
namespace {

struct CreateRequest {
  std::string keyFile;
  std::vector<std::string> certificateFiles;
  std::string name;
  std::string out;
  Password password;
};

void create(const Options& options, CreateRequest& request) {
  const Module module(options.module);
  KeyAndChain content(module);
  for (const std::string& path : request.certificateFiles) {
    for (const CertificateRef& certificate : readCertificates(module, path)) {
      content.append(certificate.get());
    }
  }
  if (content.certificates == nullptr) {
    throw HostError("out of memory");
  }
  readKey(module, request.keyFile, content.certificates->certificate, content);
  writeFile(
      request.out,
      createPkcs12(module, content, request.name, request.password.get("Password of the new file")),
      true);
}

struct OpenRequest {
  std::string file;
  std::string certificatesOut;
  Password password;
};

void open(const Options& options, OpenRequest& request) {
  const Module module(options.module);
  const KeyAndChain content =
      openPkcs12(module, request.file, request.password.get("Password of the file"));
  std::string pem;
  for (const auto* record = content.certificates; record != nullptr; record = record->next) {
    std::printf("certificate  %s\n", subjectOf(module, record->certificate).c_str());
    if (!request.certificatesOut.empty()) {
      pem += toPem(module, *record->certificate);
    }
  }
  const bool hasOwn = content.key->publicKey.bitLength != 0;
  std::printf("private key  %s\n", hasOwn ? "yes, of the first certificate" : "yes");
  if (!request.certificatesOut.empty()) {
    writeFile(request.certificatesOut, pem);
  }
}

}  // namespace

void addP12Command(CLI::App& app, Options& options) {
  CLI::App* const command = app.add_subcommand("p12", "PKCS#12 files");
  command->require_subcommand(1);

  CLI::App* const createCommand = command->add_subcommand("create", "Pack a key with its chain");
  const auto created = std::make_shared<CreateRequest>();
  createCommand->add_option("--key", created->keyFile, "RSA private key, PEM")->required();
  createCommand
      ->add_option("--cert", created->certificateFiles,
                   "Certificates, the key's own first; repeatable")
      ->required();
  createCommand->add_option("--name", created->name, "Friendly name");
  createCommand->add_option("--out", created->out, "File to write")->required();
  created->password.addOptions(*createCommand);
  createCommand->callback([&options, created] { create(options, *created); });

  CLI::App* const openCommand = command->add_subcommand("open", "Show what a file holds");
  const auto opened = std::make_shared<OpenRequest>();
  openCommand->add_option("file", opened->file, "PKCS#12 file")->required();
  openCommand->add_option("--certs-out", opened->certificatesOut, "Write the certificates, PEM");
  opened->password.addOptions(*openCommand);
  openCommand->callback([&options, opened] { open(options, *opened); });
}

}  // namespace vexahost
