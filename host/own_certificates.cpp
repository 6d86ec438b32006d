#include "own_certificates.h"

#include "certificates.h"
#include "vexa/pse.h"
#include "vexa/runtime/reference_crypto.h"

namespace vexahost {

namespace runtime = vexa::runtime;

namespace {

// The only failure that the module reports by an exception: there is no PSE object.
void refresh(vexa::IOwnCertificates& container) {
  int32_t result = vexa::kOk;
  try {
    result = container.Refresh();
  } catch (...) {
    throw HostError("the PSE cannot be had");
  }
  check(result, "listing the own certificates");
}

}  // namespace

void configurePse(const Module& module, const std::string& path, const std::string& password) {
  auto* const configure =
      module.runtimeFunction<decltype(velmora_pse_configure)>("velmora_pse_configure");
  auto* const reload = module.runtimeFunction<decltype(velmora_pse_reload)>("velmora_pse_reload");
  if (configure == nullptr || reload == nullptr) {
    throw HostError("this runtime has a PSE of its own", ExitStatus::kUnsupported);
  }
  check(configure(path.c_str(), password.c_str()), "opening the PSE");
  const int32_t result = reload();
  if (vexa::failed(result)) {
    openPkcs12(module, path, password);  // says why, where the runtime can tell
    check(result, ("opening " + path).c_str());
  }
}

std::vector<OwnCertificate> ownCertificates(const Module& module) {
  // Without a PSE, for which there may have been no memory, the module would list nothing.
  if (module.make<vexa::IPse>()->GetPSE() == nullptr) {
    throw HostError("the PSE cannot be had; memory may have been short");
  }
  const auto container = module.make<vexa::IOwnCertificates>();
  refresh(*container.get());
  uint32_t count = 0;
  check(container->GetCount(&count), "counting the own certificates");
  std::vector<OwnCertificate> found;
  for (uint32_t i = 0; i < count; ++i) {
    vexa::InterfaceHolder<vexa::IAttributes> item;
    check(container->QueryItem(i, &vexa::IID_IAttributes, item.putVoid()), "an own certificate");
    runtime::AttributeRequest request{};
    request.id = vexa::kOwnField1;
    check(item->GetAttributes(&request), "an own certificate");
    const CertificateRef certificate(static_cast<runtime::Certificate*>(request.value.pointer));
    if (certificate) {
      found.push_back({subjectOf(module, certificate.get()), issuerOf(module, certificate.get()),
                       usesOf(module, certificate.get())});
    }
  }
  return found;
}

}  // namespace vexahost
