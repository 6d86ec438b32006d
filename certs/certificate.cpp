#include "certs/certificate.h"

#include "certs/attributes.h"

namespace vexa::certs {
namespace {

const base::InterfaceMapRow kMap[] = {
    base::mapRow<CCertificate, IAttributes>(IID_IAttributes),
    base::mapEnd(),
};

}  // namespace

const base::InterfaceMapRow* CCertificate::InterfaceMap() { return kMap; }

int32_t CCertificate::SetAttributes(runtime::AttributeRequest* /*list*/) { return kAccessDenied; }

int32_t CCertificate::GetAttributes(runtime::AttributeRequest* list) {
  return walkAttributes(list,
                        [this](runtime::AttributeRequest& request) { return serve(request); });
}

int32_t CCertificate::serve(runtime::AttributeRequest& request) const {
  runtime::Certificate* const certificate = certificate_.get();
  if (certificate == nullptr) {
    return kFalse;
  }
  const runtime::CertificateTable& table = *certificate->table;
  switch (request.id) {
    case kIssuerName:
      return base::bound.commonTypes->StringCopy(&request.value.string,
                                                 table.GetIssuer(certificate));
    case kSubjectName:
      return base::bound.commonTypes->StringCopy(&request.value.string,
                                                 table.GetSubject(certificate));
    case kDerEncoding: {
      const runtime::ByteBuffer* const encoding = table.GetEncoding(certificate);
      if (encoding == nullptr) {
        return kFalse;
      }
      return base::bound.encode->SetBlob(&request.value.blob, encoding->data,
                                         static_cast<uint32_t>(encoding->length), 0);
    }
    default:
      return kFalse;
  }
}

int32_t CCertificate::IsEqual(runtime::Certificate* other) {
  return base::bound.commonTypes->CertificateCompare(certificate_.get(), other) == 0 ? 1 : 0;
}

}  // namespace vexa::certs
