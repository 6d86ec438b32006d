#include "certificates.h"
#include "cli/console.h"
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
  Password keyPassword;
  Password password;
};

void create(Options& options, CreateRequest& request) {
  const Module module(options.module);
  KeyAndChain content(module.tables());
  for (const std::string& path : request.certificateFiles) {
    for (const CertificateRef& certificate : readCertificates(module, path)) {
      content.append(module, certificate.get());
    }
  }
  readKey(module, request.keyFile, request.keyPassword, content);
  writeFile(
      request.out,
      createPkcs12(module, content, request.name, request.password.get("Password of the new file")),
      true);
  options.output.done({{"written", request.out}}, "written  " + visible(request.out));
}

struct OpenRequest {
  std::string file;
  std::string certificatesOut;
  Password password;
};

void open(Options& options, OpenRequest& request) {
  const Module module(options.module);
  const KeyAndChain content =
      openPkcs12(module, request.file, request.password.get("Password of the file"));
  const bool hasOwn = content.key->publicKey.bitLength != 0;
  Json data = {{"certificates", Json::array()}, {"keyOfFirstCertificate", hasOwn}};
  std::string pem;
  for (const auto* record = content.certificates.get(); record != nullptr; record = record->next) {
    data["certificates"].push_back(subjectOf(module, record->certificate));
    if (!request.certificatesOut.empty()) {
      pem += toPem(module, *record->certificate);
    }
  }
  if (!request.certificatesOut.empty()) {
    writeFile(request.certificatesOut, pem);
  }
  options.output.answer(data, [&] {
    for (const Json& subject : data["certificates"]) {
      options.output.line("certificate  " + visible(subject.get<std::string>()));
    }
    options.output.line(hasOwn ? "private key  yes, of the first certificate" : "private key  yes");
  });
}

}  // namespace

void addP12Command(Command app, Options& options) {
  Command command = app.command("p12", "PKCS#12 files");
  command.needsCommand();

  Command createCommand =
      command.command("create", "Pack a key with its chain; OpenSSL opens the file with -legacy");
  const auto created = std::make_shared<CreateRequest>();
  createCommand.option("--key", created->keyFile, "Private key of the first certificate, PEM")
      .required();
  createCommand
      .option("--cert", created->certificateFiles, "Certificates, the key's own first; repeatable")
      .required();
  createCommand.option("--name", created->name, "Friendly name");
  createCommand.option("--out", created->out, "File to write").required();
  created->keyPassword.addOptions(createCommand, "key-password");
  created->password.addOptions(createCommand);
  createCommand.onRun([&options, created] { create(options, *created); });

  Command openCommand = command.command("open", "Show what a file holds");
  const auto opened = std::make_shared<OpenRequest>();
  openCommand.option("file", opened->file, "PKCS#12 file").required();
  openCommand.option("--certs-out", opened->certificatesOut, "Write the certificates, PEM");
  opened->password.addOptions(openCommand);
  openCommand.onRun([&options, opened] { open(options, *opened); });
}

}  // namespace vexahost
