#pragma once

#include "base/com_object.h"
#include "base/holders.h"
#include "vexa/certificates.h"

namespace vexa::certs {

class CCertificate : public ICertificate, public base::CComObjectRoot {
 public:
  static const base::InterfaceMapRow* InterfaceMap();

  CCertificate() = default;
  CCertificate(const CCertificate&) = delete;
  CCertificate& operator=(const CCertificate&) = delete;

  // Adds a reference of its own.
  void wrap(runtime::Certificate* certificate) {
    certificate_ = decltype(certificate_)::share(certificate);
  }

  int32_t SetAttributes(runtime::AttributeRequest* list) override;
  int32_t GetAttributes(runtime::AttributeRequest* list) override;
  int32_t IsEqual(runtime::Certificate* other) override;

 protected:
  ~CCertificate() = default;

 private:
  int32_t serve(runtime::AttributeRequest& request) const;

  base::RuntimeRef<runtime::Certificate> certificate_;
};

}  // namespace vexa::certs
