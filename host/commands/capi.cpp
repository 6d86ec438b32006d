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

void addCapiCommand(CLI::App& app, Options& options) {
  CLI::App* const command =
      app.add_subcommand("capi", "The Windows certificate stores and key containers");
  command->require_subcommand(1);

  CLI::App* const importCommand = command->add_subcommand("import", "Import a PKCS#12 file");
  const auto request = std::make_shared<ImportRequest>();
  importCommand->add_option("file", request->file, "PKCS#12 file")->required();
  importCommand->add_option("--container", request->container, "Key container")->required();
  importCommand->add_flag("--check-root", request->checkRoot, "Refuse a root that is not trusted");
  importCommand->add_flag("--exportable", request->exportable, "The key may be exported again");
  request->password.addOptions(*importCommand);
  importCommand->callback([&options, request] { import(options, *request); });

  CLI::App* const deleteCommand =
      command->add_subcommand("delete", "Delete a container with its certificates, or CA ones");
  const auto container = std::make_shared<std::string>();
  const auto issuer = std::make_shared<std::string>();
  CLI::Option_group* const what = deleteCommand->add_option_group("what");
  what->add_option("--container", *container, "Key container");
  what->add_option("--issuer", *issuer, "CA certificates of this issuer, \"CN=Root,O=Example\"");
  what->require_option(1, 2);
  deleteCommand->callback([&options, container, issuer] { remove(options, *container, *issuer); });

  command->add_subcommand("list", "Certificates of the stores MY and CA")->callback([&options] {
    list(options);
  });
}

}  // namespace vexahost
