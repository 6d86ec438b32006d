#pragma once

#include "vexa/runtime/certificate.h"
#include "vexa/runtime/table_traits.h"

// PKCS#12 (RFC 7292) through "SEC_PKCS12_1" and its companion table.
namespace vexa::runtime {

struct PrivateKeyInfo {
  AlgorithmId algorithm;
  ByteBuffer key;  // wiped on release
};
static_assert(sizeof(PrivateKeyInfo) == 40);

enum BagType : uint32_t { kKeyBag = 0, kCertificateBag = 1 };

struct SafeBag {
  uint32_t type;  // BagType; others exist and are passed over
  union {
    PrivateKeyInfo* key;
    Certificate* certificate;  // owned reference
  };
  uint8_t shrouded;
  StringObject* friendlyName;  // UTF-8; null when absent
  ByteBuffer* localKeyId;      // null when absent
};
static_assert(offsetof(SafeBag, key) == 8 && offsetof(SafeBag, shrouded) == 16);
static_assert(offsetof(SafeBag, friendlyName) == 24 && offsetof(SafeBag, localKeyId) == 32);
static_assert(sizeof(SafeBag) == 40);

struct BagNode {
  SafeBag* bag;
  BagNode* next;
};
static_assert(sizeof(BagNode) == 16);

// The names are texts made with CommonTypes::TextDuplicate.
struct PfxParameters {
  uint32_t version;
  BagNode* contents;
  char* macDigest;
  char* bagEncryption1;  // the certificate safe
  char* bagEncryption2;  // the shrouded key bag
  uint32_t iterations;
};
static_assert(offsetof(PfxParameters, contents) == 8);
static_assert(offsetof(PfxParameters, iterations) == 40 && sizeof(PfxParameters) == 48);

// The companion table. Created records are all zero; release functions ignore null and release
// what the record owns.
struct Pkcs12TypesTable {
  Reserved reserved0;
  int32_t (*ParametersCreate)(PfxParameters** out);
  void (*ParametersRelease)(PfxParameters* parameters);
  int32_t (*BagNodeCreate)(BagNode** out);
  void (*BagListRelease)(BagNode* head);
  int32_t (*BagCreate)(SafeBag** out);
  void (*BagRelease)(SafeBag* bag);
  int32_t (*PrivateKeyInfoCreate)(PrivateKeyInfo** out);
  void (*PrivateKeyInfoRelease)(PrivateKeyInfo* info);
};
VEXA_OUR_SLOT(Pkcs12TypesTable, ParametersCreate, 1);
VEXA_OUR_SLOT(Pkcs12TypesTable, ParametersRelease, 2);
VEXA_OUR_SLOT(Pkcs12TypesTable, BagNodeCreate, 3);
VEXA_OUR_SLOT(Pkcs12TypesTable, BagListRelease, 4);
VEXA_OUR_SLOT(Pkcs12TypesTable, BagCreate, 5);
VEXA_OUR_SLOT(Pkcs12TypesTable, BagRelease, 6);
VEXA_OUR_SLOT(Pkcs12TypesTable, PrivateKeyInfoCreate, 7);
VEXA_OUR_SLOT(Pkcs12TypesTable, PrivateKeyInfoRelease, 8);

inline constexpr char kPkcs12Name[] = "SEC_PKCS12_1";

// "SEC_PKCS12_1"
struct Pkcs12Table {
  Reserved reserved0;
  // Repeatable; counts no references.
  int32_t (*GetTypes)(const Pkcs12TypesTable** out);
  // The whole PFX. A null password derives keys from an empty byte string, "" from a terminator.
  int32_t (*Encode)(const PfxParameters* parameters, const StringObject* password,
                    ByteBuffer** out);
  // *bags belongs to the caller, also on failure when it is not null. *verified is always written:
  // 1 when a MAC is present and checks. `options` is null.
  int32_t (*Decode)(const ByteBuffer* data, const void* options, const StringObject* password,
                    BagNode** bags, uint8_t* verified);
};
VEXA_FIXED_SLOT(Pkcs12Table, GetTypes, 1);
VEXA_OUR_SLOT(Pkcs12Table, Encode, 2);
VEXA_OUR_SLOT(Pkcs12Table, Decode, 3);
template <>
struct TableTraits<Pkcs12Table> {
  static constexpr const char* kComponent = nullptr;
  static constexpr const char* kName = kPkcs12Name;
};

}  // namespace vexa::runtime
