#pragma once

#include "base/com_object.h"
#include "base/holders.h"
#include "vexa/pse.h"

namespace vexa::certs {

// The one personal security environment, with the context that it comes from; see vexa/pse.h.
class CPSE : public IPse, public base::CSingletonFactoryImpl<CPSE>, public base::CComObjectRoot {
 public:
  static const base::InterfaceMapRow* InterfaceMap();

  CPSE();
  CPSE(const CPSE&) = delete;
  CPSE& operator=(const CPSE&) = delete;

  runtime::SecurityContext* GetContext() override { return context_.get(); }
  runtime::Pse* GetPSE() override { return pse_.get(); }
  int32_t Reserved6(void*, void*, void*) override { return kNotImplemented; }
  int32_t Reserved7(void*, void*, void*) override { return kNotImplemented; }
  int32_t Reserved8(void*, void*, void*) override { return kNotImplemented; }
  int32_t Reserved9(void*, void*, void*) override { return kNotImplemented; }
  int32_t Reserved10(void*, void*, void*) override { return kNotImplemented; }
  int32_t Reserved11(void*, void*, void*) override { return kNotImplemented; }
  int32_t Reserved12(void*, void*, void*) override { return kNotImplemented; }

 protected:
  ~CPSE() = default;  // the PSE goes before its context

 private:
  base::RuntimeRef<runtime::SecurityContext> context_;
  base::RuntimeRef<runtime::Pse> pse_;
};

}  // namespace vexa::certs
