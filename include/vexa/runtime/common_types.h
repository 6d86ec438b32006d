#pragma once

#include "vexa/runtime/certificate.h"
#include "vexa/runtime/table_traits.h"

namespace vexa::runtime {

// Entry 2 of SEC_COMMONTYPES_1: not a function but a list with the objects' header. Its operation
// 4 duplicates any object, null included. The pointer itself goes into the context parameters.
struct TypeOperations {
  Reserved reserved0;
  Reserved reserved1;
  Reserved reserved2;
  Reserved reserved3;
  int32_t (*Duplicate)(Object* item, void** copy);
  Reserved reserved5;
  Reserved reserved6;
};
VEXA_FIXED_SLOT(TypeOperations, Duplicate, 4);

inline constexpr char kCommonTypesName[] = "SEC_COMMONTYPES_1";

// "SEC_COMMONTYPES_1" of the crypto runtime. Comparisons return 0 for equal.
struct CommonTypes {
  Reserved reserved0;
  Reserved reserved1;
  const TypeOperations* typeOperations;
  Reserved reserved3to7[5];
  char* (*TextDuplicate)(const char* text);
  void (*TextRelease)(char* text);  // texts of TextDuplicate only; null ignored
  void (*BufferRelease)(ByteBuffer* buffer);
  int32_t (*BufferCompare)(const ByteBuffer* a, const ByteBuffer* b);
  // Makes a buffer when *out is null. "01" gives the one byte 0x01.
  int32_t (*BufferFromHex)(const char* hex, ByteBuffer** out);
  // Replaces the string by the text of the name; a null name gives an empty string.
  int32_t (*StringCopy)(StringObject* string, Name* name);
  int32_t (*NameCompare)(Name* a, Name* b);  // null never equals anything
  // DER, or base64 with or without PEM lines. *out carries one reference, null on failure.
  int32_t (*CertificateDecode)(const ByteBuffer* encoding, Certificate** out);
  int32_t (*CertificateCompare)(Certificate* a, Certificate* b);  // by encoding
  void (*CertificateListRelease)(CertificateList* head);
  int32_t (*ObjectIdFromText)(const char* dotted, ObjectId** out);
  int32_t (*ObjectIdCompare)(ObjectId* a, ObjectId* b);
  int32_t (*KeyCompare)(const PublicKey* a, const PublicKey* b);  // an empty key equals nothing
  // Deep copies into a zeroed or initialised target, whose old content is released.
  int32_t (*AlgorithmIdCopy)(AlgorithmId* target, const AlgorithmId* source);
  int32_t (*PublicKeyCopy)(PublicKey* target, const PublicKey* source);
  int32_t (*KeyCreate)(KeyObject** out);
  void (*KeyRelease)(KeyObject* key);
  int32_t (*RsaPrivateKeyDecode)(const uint8_t* bytes, uint64_t count, RsaPrivateKey** out);
  void (*RsaPrivateKeyRelease)(RsaPrivateKey* key);  // wipes; null ignored
};
VEXA_FIXED_SLOT(CommonTypes, typeOperations, 2);
VEXA_OUR_SLOT(CommonTypes, TextDuplicate, 8);
VEXA_OUR_SLOT(CommonTypes, TextRelease, 9);
VEXA_OUR_SLOT(CommonTypes, BufferRelease, 10);
VEXA_OUR_SLOT(CommonTypes, BufferCompare, 11);
VEXA_OUR_SLOT(CommonTypes, BufferFromHex, 12);
VEXA_OUR_SLOT(CommonTypes, StringCopy, 13);
VEXA_OUR_SLOT(CommonTypes, NameCompare, 14);
VEXA_OUR_SLOT(CommonTypes, CertificateDecode, 15);
VEXA_OUR_SLOT(CommonTypes, CertificateCompare, 16);
VEXA_OUR_SLOT(CommonTypes, CertificateListRelease, 17);
VEXA_OUR_SLOT(CommonTypes, ObjectIdFromText, 18);
VEXA_OUR_SLOT(CommonTypes, ObjectIdCompare, 19);
VEXA_OUR_SLOT(CommonTypes, KeyCompare, 20);
VEXA_OUR_SLOT(CommonTypes, AlgorithmIdCopy, 21);
VEXA_OUR_SLOT(CommonTypes, PublicKeyCopy, 22);
VEXA_OUR_SLOT(CommonTypes, KeyCreate, 23);
VEXA_OUR_SLOT(CommonTypes, KeyRelease, 24);
VEXA_OUR_SLOT(CommonTypes, RsaPrivateKeyDecode, 25);
VEXA_OUR_SLOT(CommonTypes, RsaPrivateKeyRelease, 26);
template <>
struct TableTraits<CommonTypes> {
  static constexpr const char* kComponent = nullptr;
  static constexpr const char* kName = kCommonTypesName;
};

}  // namespace vexa::runtime
