#include "certs/pse.h"

namespace vexa::certs {
namespace {

const base::InterfaceMapRow kMap[] = {
    base::mapRow<CPSE, IPse>(IID_IPse),
    base::mapEnd(),
};

}  // namespace

const base::InterfaceMapRow* CPSE::InterfaceMap() { return kMap; }

// Without a context there is no PSE; the object then holds neither.
CPSE::CPSE() {
  const runtime::ContextParameters parameters = {
      .version = 1,
      .applicationName = "vexa",
      .reserved3 = nullptr,
      .typeOperations = base::bound.commonTypes->typeOperations,
      .reserved5 = nullptr,
  };
  if (failed(base::bound.asc->CreateContext(&parameters, context_.put())) || !context_) {
    return;
  }
  (void)context_->table->GetPse(context_.get(), pse_.put());
}

}  // namespace vexa::certs
