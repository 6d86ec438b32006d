#pragma once

#include "base/com_object.h"
#include "certs/certificate.h"

namespace vexa::certs {

class CCertificates : public base::CContainerUnkImpl<CCertificate, ICertificates>,
                      public base::CSingletonFactoryImpl<CCertificates>,
                      public base::CComObjectRoot {
 public:
  static const base::InterfaceMapRow* InterfaceMap();

  CCertificates() = default;
  CCertificates(const CCertificates&) = delete;
  CCertificates& operator=(const CCertificates&) = delete;

  int32_t FindOrAdd(runtime::Certificate* certificate, ICertificate** wrapper) override;

 protected:
  ~CCertificates() = default;
};

}  // namespace vexa::certs
