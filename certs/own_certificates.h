#pragma once

#include "base/com_object.h"
#include "base/holders.h"
#include "vexa/own_certificates.h"

namespace vexa::certs {

class COwnCertificate : public IOwnCertificate, public base::CComObjectRoot {
 public:
  static const base::InterfaceMapRow* InterfaceMap();

  COwnCertificate() = default;
  COwnCertificate(const COwnCertificate&) = delete;
  COwnCertificate& operator=(const COwnCertificate&) = delete;

  int32_t SetAttributes(runtime::AttributeRequest* list) override;
  int32_t GetAttributes(runtime::AttributeRequest* list) override;
  int32_t SetRecord(runtime::OwnCertificateRecord* record) override;
  int32_t IsSame(runtime::OwnCertificateRecord* record) override;

  const runtime::OwnCertificateRecord* record() const { return record_.get(); }

 protected:
  ~COwnCertificate() = default;

 private:
  int32_t serve(runtime::AttributeRequest& request) const;

  base::OwnRecord record_;  // one reference
};

class COwnCertificates : public base::CContainerUnkImpl<COwnCertificate, IOwnCertificates>,
                         public base::CSingletonFactoryImpl<COwnCertificates>,
                         public base::CComObjectRoot {
 public:
  static const base::InterfaceMapRow* InterfaceMap();

  COwnCertificates() = default;
  COwnCertificates(const COwnCertificates&) = delete;
  COwnCertificates& operator=(const COwnCertificates&) = delete;

  int32_t Refresh() override;

 protected:
  ~COwnCertificates() = default;
};

// Creator of "OwnCertificates": binds SEC_PSE_1 first, once; its failure is returned as it stands.
int32_t CreateOwnCertificates(const Guid* id, void** out);

}  // namespace vexa::certs
