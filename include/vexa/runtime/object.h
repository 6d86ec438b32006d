#pragma once

#include "vexa/runtime/records.h"

// Runtime objects: a block whose first word points to its function table. Every operation takes
// the object first. Counts are interlocked.
namespace vexa::runtime {

struct Object;

// The header that every object's table begins with.
struct ObjectHeader {
  int32_t (*reserved0)(Object* self, void*, void*, void*);
  uint32_t (*AddRef)(Object* self);
  uint32_t (*Release)(Object* self);
  const char* (*GetTypeName)(Object* self);
  // A content-equal object owned by the caller: the same one with one more reference when it is
  // immutable, else an independent copy. *copy is null on failure.
  int32_t (*Duplicate)(Object* self, void** copy);
  int32_t (*reserved5)(Object* self, void*);
  int32_t (*reserved6)(Object* self, void*, void*, void*);
};
VEXA_OUR_SLOT(ObjectHeader, AddRef, 1);
VEXA_OUR_SLOT(ObjectHeader, Release, 2);
VEXA_OUR_SLOT(ObjectHeader, GetTypeName, 3);
VEXA_FIXED_SLOT(ObjectHeader, Duplicate, 4);
static_assert(sizeof(ObjectHeader) == 7 * 8);

struct Object {
  const ObjectHeader* table;
};

// A growing byte stream, written and read through SEC_IO_1.
struct Stream {
  const ObjectHeader* table;
};

// An ASN.1 object identifier; made and compared through SEC_COMMONTYPES_1.
struct ObjectId {
  const ObjectHeader* table;
};

// A distinguished name (RFC 4514 gives its text form).
struct Name;
struct NameTable {
  ObjectHeader header;
  // Value of the first attribute of that name ("CN"), UTF-8; an empty string when missing.
  int32_t (*GetAttribute)(Name* self, const char* attribute, StringObject* value);
};
VEXA_OUR_SLOT(NameTable, GetAttribute, 7);
struct Name {
  const NameTable* table;
};

// The security context that CreateContext of SEC_ASC_1 makes.
struct Pse;
struct SecurityContext;
struct SecurityContextTable {
  ObjectHeader header;
  // The PSE with one reference for the caller, null on failure.
  int32_t (*GetPse)(SecurityContext* self, Pse** pse);
};
VEXA_FIXED_SLOT(SecurityContextTable, GetPse, 7);
struct SecurityContext {
  const SecurityContextTable* table;
};

// One of the user's own certificates with what belongs to it. Counted in its private part;
// released with SEC_PSE_1. The objects may be null.
struct OwnCertificateRecord {
  Object* field1;  // attribute 240
  Object* field2;  // attribute 58
  void* field3;
  void* field4;
  void* field5;
  Object* field6;  // attribute 13
};
static_assert(offsetof(OwnCertificateRecord, field6) == 40);

struct OwnCertificateList {
  OwnCertificateRecord* record;  // may be null
  OwnCertificateList* next;
};
static_assert(sizeof(OwnCertificateList) == 16);

struct PseTable {
  ObjectHeader header;
  // The same own certificate comes back as the same record, with one reference per node. The list
  // is released with SEC_PSE_1.
  int32_t (*ListOwnCertificates)(Pse* self, const void* option1, const void* option2,
                                 OwnCertificateList** list);
};
VEXA_FIXED_SLOT(PseTable, ListOwnCertificates, 7);
struct Pse {
  const PseTable* table;
};

// A symmetric key that the scrambler generated.
struct SymmetricKey;
struct SymmetricKeyTable {
  ObjectHeader header;  // Duplicate makes an independent copy
  uint64_t (*GetBitLength)(SymmetricKey* self);
  uint8_t* (*GetBytes)(SymmetricKey* self);  // writable, (bit length + 7) / 8 bytes
};
VEXA_OUR_SLOT(SymmetricKeyTable, GetBitLength, 7);
VEXA_OUR_SLOT(SymmetricKeyTable, GetBytes, 8);
struct SymmetricKey {
  const SymmetricKeyTable* table;
};

}  // namespace vexa::runtime
