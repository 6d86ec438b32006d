#pragma once

#include "support/slot.h"
#include "vexa/certificates.h"
#include "vexa/own_certificates.h"
#include "vexa/pse.h"

// Containers, certificates and the PSE by the numbers of their slots.
namespace vexa::test::raw {

inline uint32_t addRef(void* object) { return call<uint32_t>(object, 1); }
inline uint32_t release(void* object) { return call<uint32_t>(object, 2); }

// --- IContainerRO ---
inline int32_t getCount(void* container, uint32_t* count) {
  return call<int32_t>(container, 3, count);
}
inline int32_t queryItem(void* container, uint32_t index, const Guid& id, void** out) {
  return call<int32_t>(container, 4, index, &id, out);
}
inline int32_t getItem(void* container, uint32_t index, void** out) {
  return call<int32_t>(container, 5, index, out);
}

// --- ICertificates, IOwnCertificates ---
inline int32_t findOrAdd(void* container, runtime::Certificate* certificate, void** wrapper) {
  return call<int32_t>(container, 6, certificate, wrapper);
}
inline int32_t refresh(void* container) { return call<int32_t>(container, 6); }

// --- IAttributes ---
inline int32_t setAttributes(void* wrapper, runtime::AttributeRequest* list) {
  return call<int32_t>(wrapper, 3, list);
}
inline int32_t getAttributes(void* wrapper, runtime::AttributeRequest* list) {
  return call<int32_t>(wrapper, 4, list);
}

// --- ICertificate ---
inline int32_t isEqual(void* wrapper, runtime::Certificate* other) {
  return call<int32_t>(wrapper, 5, other);
}

// --- IOwnCertificate ---
inline int32_t setRecord(void* wrapper, runtime::OwnCertificateRecord* record) {
  return call<int32_t>(wrapper, 5, record);
}
inline int32_t isSame(void* wrapper, runtime::OwnCertificateRecord* record) {
  return call<int32_t>(wrapper, 6, record);
}

// --- IPse ---
inline void* getContext(void* pse) { return call<void*>(pse, 4); }
inline void* getPse(void* pse) { return call<void*>(pse, 5); }

}  // namespace vexa::test::raw
