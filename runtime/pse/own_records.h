#pragma once

#include "runtime/holders.h"
#include "vexa/runtime/pkcs12.h"

// Own-certificate records. While anybody holds the record of a certificate, everybody who asks for
// that certificate gets the same record. Any thread.
namespace vexa::velmora {

void shareOwnRecord(runtime::OwnCertificateRecord* record);
void dropOwnRecord(runtime::OwnCertificateRecord* record);

// Nodes with one reference each; released with OwnListRelease.
using OwnList = runtime::OwnCertificateList;
void releaseOwnNodes(OwnList* head);
using OwnNodes = FunctionHolder<OwnList, releaseOwnNodes>;
// The same records in the same order, each with one reference more.
int32_t copyOwnNodes(const OwnList* head, OwnList** out);

// The records of those certificates among the bags whose private key is there too, in the order of
// the bags and each once. May throw std::bad_alloc.
int32_t ownRecordsOf(const runtime::BagNode* bags, OwnList** out);

}  // namespace vexa::velmora
