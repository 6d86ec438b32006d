#include "vexa/capi.h"
#include "certificates.h"
#include "cli/console.h"
#include "options.h"
#include "password.h"
#include "windows_stores.h"

namespace vexahost {
namespace {

constexpr uint32_t kExportable = 1;  // CRYPT_EXPORTABLE

const vexa::CapiList& capi(const Module& module) { return module.list<vexa::CapiList>(); }

struct ImportRequest {
  std::string file;
  std::string container;
  bool checkRoot = false;
  bool exportable = false;
  Password password;
};

void import(Options& options, ImportRequest& request) {
  const Module module(options.module);
  const KeyAndChain content =
      openPkcs12(module, request.file, request.password.get("Password of the file"));
  const int32_t result = capi(module).CspImport(
      toUtf16(module, request.container).c_str(), request.exportable ? kExportable : 0,
      request.checkRoot ? 1 : 0, content.key.get(), content.certificates.get());
  if (result == vexa::kUntrustedRoot) {
    throw HostError("the root is not trusted; nothing but the CA certificates was imported",
                    ExitStatus::kNo);
  }
  check(result, "the import");
  options.output.done({{"imported", request.container}},
                      "imported into " + visible(request.container));
}

// What is empty is left alone.
void remove(const Options& options, const std::string& container, const std::string& issuer) {
  const Module module(options.module);
  if (!container.empty()) {
    check(capi(module).CspDeleteOwnCerts(toUtf16(module, container).c_str()), "deleting");
  }
  if (!issuer.empty()) {
    check(capi(module).DeleteCACertsByName(issuer.c_str()), "deleting CA certificates");
  }
}

Json describe(const Module& module, const StoredCertificate& stored) {
  const vexa::runtime::ByteBuffer encoding = vexa::borrow(stored.encoding);
  CertificateRef certificate;
  const bool isReadable =
      module.commonTypes().CertificateDecode(&encoding, certificate.put()) == 0 && certificate;
  Json data = {{"subject", isReadable ? subjectOf(module, certificate.get()) : "(unknown)"}};
  if (!stored.container.empty()) {
    data["container"] = toUtf8(module, stored.container.c_str());
  }
  return data;
}

void list(Options& options) {
  const Module module(options.module);
  Json data = Json::object();
  for (const char* const store : {"MY", "CA"}) {
    data[store] = Json::array();
    for (const StoredCertificate& stored : storedCertificates(store)) {
      data[store].push_back(describe(module, stored));
    }
  }
  options.output.answer(data, [&] {
    for (const auto& [store, certificates] : data.items()) {
      options.output.line(store);
      for (const Json& stored : certificates) {
        const std::string container = stored.value("container", "");
        options.output.line("  " + visible(stored["subject"].get<std::string>()) +
                            (container.empty() ? "" : "  [" + visible(container) + "]"));
      }
    }
  });
}

}  // namespace

void addCapiCommand(Command app, Options& options) {
  Command command = app.command("capi", "The Windows certificate stores and key containers");
  command.needsCommand();

  Command importCommand = command.command("import", "Import a PKCS#12 file");
  const auto request = std::make_shared<ImportRequest>();
  importCommand.option("file", request->file, "PKCS#12 file").required();
  importCommand.option("--container", request->container, "Key container").required();
  importCommand.flag("--check-root", request->checkRoot, "Refuse a root that is not trusted");
  importCommand.flag("--exportable", request->exportable, "The key may be exported again");
  request->password.addOptions(importCommand);
  importCommand.onRun([&options, request] { import(options, *request); });

  Command deleteCommand =
      command.command("delete", "Delete a container with its certificates, or CA ones");
  const auto container = std::make_shared<std::string>();
  const auto issuer = std::make_shared<std::string>();
  Command what = deleteCommand.group("what", 1, 2);
  what.option("--container", *container, "Key container");
  what.option("--issuer", *issuer, "CA certificates of this issuer, \"CN=Root,O=Example\"");
  deleteCommand.onRun([&options, container, issuer] { remove(options, *container, *issuer); });

  command.command("list", "Certificates of the stores MY and CA").onRun([&options] {
    list(options);
  });
}

}  // namespace vexahost
