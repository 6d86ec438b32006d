#pragma once

#include "vexa/component.h"
#include "vexa/module.h"
#include "vexa/runtime/records.h"

// JSON values (RFC 8259, with the differences stated at JsonApiList::Parse): a tree of
// reference-counted values, reached through its objects and arrays.
//
// Texts are 8-bit and counted; nothing checks that they are UTF-8. Keys are given as
// zero-terminated texts, compared byte by byte, case-sensitively. Texts handed out as pointers
// belong to the value: they live until it is changed, replaced or released. A string object that is
// passed as an out is the caller's and is replaced through String.1.
//
// One thread at a time per tree; only the reference counts are interlocked. A value that came out
// of Parse keeps the memory of the text it was parsed from alive, a held child included.
namespace vexa {

inline constexpr char kJsonApiListName[] = "jsonapi";

// {9D42C718-78BE-4150-96FD-09A1C4EDF5C9}
inline constexpr Guid IID_IJsonObject{
    0x9D42C718, 0x78BE, 0x4150, {0x96, 0xFD, 0x09, 0xA1, 0xC4, 0xED, 0xF5, 0xC9}};
// {FE8880DC-9EE4-4CB5-B028-32721193AE1D}
inline constexpr Guid IID_IJsonArray{
    0xFE8880DC, 0x9EE4, 0x4CB5, {0xB0, 0x28, 0x32, 0x72, 0x11, 0x93, 0xAE, 0x1D}};

enum JsonType : uint32_t {
  kJsonAbsent = 0,  // no such member or element
  kJsonNull = 1,
  kJsonNumber = 2,
  kJsonString = 3,
  kJsonArray = 4,
  kJsonObject = 5,
  kJsonBool = 6,
};

// The index that stands for "at the end" when a value is placed in an array.
inline constexpr uint64_t kJsonAtEnd = ~uint64_t{0};

class IJsonArray;

// <windows.h> defines GetObject as a macro for one of two other names. The interface is declared
// without it, and answers to those names, too, so that a call compiles in either order of includes.
// An implementer includes this header first, or undefines the macro.
#pragma push_macro("GetObject")
#undef GetObject

// A JSON object: members in the order in which they were added. Lookups are linear; the first
// member with an equal key is meant. A null key is absent.
//
// Getters: kFail when the member is absent or of a kind that has no such value, the result of
// QueryInterface (kNoInterface) when a member is no object or array; kNullPointer for a null out.
// Integers, truth values and string objects are written on success only; object outs are null on
// failure. A parsed member becomes an object of the component model when it is first asked for as
// one, for which memory may be short: kOutOfMemory, nothing changed.
//
// Setters put a value of the kind under the key: in the place of the member with that key, which is
// released, or behind the last one. kFail: null key. kOutOfMemory: nothing changed.
class IJsonObject : public IComponent {
 public:
  // Slot 3. kJsonObject.
  virtual uint32_t GetType() = 0;
  // Slot 4. A new buffer with the object as text, one uncounted zero byte behind. The caller frees
  // it with BufferRelease of SEC_COMMONTYPES_1. No indentation; "{\n", members as `"key" : value`
  // separated by ",\n", "\n", "}\n"; arrays alike. In strings and keys \b \t \n \f \r \" \/ and
  // \\ are escaped so, every other byte below 0x20 as \u and its value as four DECIMAL digits.
  // kNullPointer: null out. Otherwise the runtime's failure; *text is null then.
  virtual int32_t ToText(runtime::ByteBuffer** text) = 0;
  // Slot 5. Number of members.
  virtual uint64_t GetCount() = 0;
  // Slot 6. The key at an index. kFail: not below the count.
  virtual int32_t GetKeyAt(uint64_t index, runtime::StringObject* key) = 0;
  // Slot 7. The same as a pointer, null when not below the count. A key that holds a zero byte (see
  // Parse) looks shorter here.
  virtual const char* GetKeyPtrAt(uint64_t index) = 0;
  // Slot 8. A JsonType.
  virtual uint32_t GetTypeOf(const char* key) = 0;
  // Slot 9.
  virtual int32_t GetString(const char* key, runtime::StringObject* value) = 0;
  // Slot 10. Zero-terminated; null when absent or no string.
  virtual const char* GetStringPtr(const char* key) = 0;
  // Slot 11.
  virtual int32_t GetInteger(const char* key, int32_t* value) = 0;
  // Slot 12. With a reference for the caller.
  virtual int32_t GetObject(const char* key, IJsonObject** value) = 0;
  // Slot 13. With a reference for the caller.
  virtual int32_t GetArray(const char* key, IJsonArray** value) = 0;
  // Slot 14. 0 or 1.
  virtual int32_t GetBool(const char* key, uint32_t* value) = 0;
  // Slot 15. kInvalidArgument: null text.
  virtual int32_t SetString(const char* key, const char* text) = 0;
  // Slot 16.
  virtual int32_t SetInteger(const char* key, int32_t value) = 0;
  // Slot 17. A new empty object, with a reference for the caller. kNullPointer: null out.
  virtual int32_t AddObject(const char* key, IJsonObject** value) = 0;
  // Slot 18. A new empty array, with a reference for the caller. kNullPointer: null out.
  virtual int32_t AddArray(const char* key, IJsonArray** value) = 0;
  // Slot 19. Every value but 0 is true.
  virtual int32_t SetBool(const char* key, uint8_t value) = 0;
  // Slot 20.
  virtual int32_t SetNull(const char* key) = 0;

  // Not slots: what GetObject is called where <windows.h> has its macro.
  int32_t GetObjectA(const char* key, IJsonObject** value) { return GetObject(key, value); }
  int32_t GetObjectW(const char* key, IJsonObject** value) { return GetObject(key, value); }

 protected:
  ~IJsonObject() = default;
};
#pragma pop_macro("GetObject")
template <>
struct InterfaceTraits<IJsonObject> {
  static constexpr Guid kId = IID_IJsonObject;
};

// A JSON array. Indexes start at 0.
//
// Getters: as those of IJsonObject, an index that is not below the count in place of an absent key.
//
// Setters put a new value at an index: below the count in the place of the element there, which is
// released; equal to the count, or kJsonAtEnd, behind the last one. kFail: above the count.
// kOutOfMemory: nothing changed.
class IJsonArray : public IComponent {
 public:
  // Slot 3. kJsonArray.
  virtual uint32_t GetType() = 0;
  // Slot 4. Number of elements.
  virtual uint64_t GetCount() = 0;
  // Slot 5. A JsonType.
  virtual uint32_t GetTypeAt(uint64_t index) = 0;
  // Slot 6.
  virtual int32_t GetStringAt(uint64_t index, runtime::StringObject* value) = 0;
  // Slot 7. Zero-terminated; null when out of range or no string.
  virtual const char* GetStringPtrAt(uint64_t index) = 0;
  // Slot 8.
  virtual int32_t GetIntegerAt(uint64_t index, int32_t* value) = 0;
  // Slot 9. With a reference for the caller.
  virtual int32_t GetObjectAt(uint64_t index, IJsonObject** value) = 0;
  // Slot 10. With a reference for the caller.
  virtual int32_t GetArrayAt(uint64_t index, IJsonArray** value) = 0;
  // Slot 11. 0 or 1.
  virtual int32_t GetBoolAt(uint64_t index, uint32_t* value) = 0;
  // Slot 12. kInvalidArgument: null text.
  virtual int32_t SetStringAt(uint64_t index, const char* text) = 0;
  // Slot 13.
  virtual int32_t SetIntegerAt(uint64_t index, int32_t value) = 0;
  // Slot 14. A new empty object, with a reference for the caller. kNullPointer: null out.
  virtual int32_t AddObjectAt(uint64_t index, IJsonObject** value) = 0;
  // Slot 15. A new empty array, with a reference for the caller. kNullPointer: null out.
  virtual int32_t AddArrayAt(uint64_t index, IJsonArray** value) = 0;
  // Slot 16. Every value but 0 is true.
  virtual int32_t SetBoolAt(uint64_t index, uint8_t value) = 0;
  // Slot 17.
  virtual int32_t SetNullAt(uint64_t index) = 0;

 protected:
  ~IJsonArray() = default;
};
template <>
struct InterfaceTraits<IJsonArray> {
  static constexpr Guid kId = IID_IJsonArray;
};

// The list "jsonapi". No state; any thread.
struct JsonApiList {
  GetModuleInfoFunction GetModuleInfo;
  // A new empty object with a reference for the caller. kInvalidArgument: null out. kOutOfMemory:
  // *object is null.
  int32_t (*CreateObject)(IJsonObject** object);
  // The object that the text holds, with a reference for the caller. The text is copied.
  //   kInvalidArgument  an argument is null (*object is null when it can be).
  //   kFail             not such a text, or more than kJsonMaxDepth objects and arrays in each
  //                     other.
  //   kOutOfMemory
  // On failure *object is null. Differences from RFC 8259:
  //   - The text is an object; whatever follows its closing brace is not looked at.
  //   - "//" comments to the end of the line before values and keys and behind members' values.
  //   - Tab, CR and LF may stand in strings; so may every byte from 0x80 to 0xFD, not 0x7F.
  //   - \u escapes become UTF-8 one by one: a surrogate pair becomes two sequences of three bytes.
  //   - Keys stay as they are written, their escapes undecoded: any ASCII character but CR and LF
  //     may follow a backslash there. Of equal keys the first one counts.
  //   - Numbers have a sign ("+" too), digits and perhaps a fraction, which is dropped, and no
  //     exponent. They saturate at the ends of 32 bits. A number whose sign is set off by blanks is
  //     0.
  // Whatever the text is, time grows no faster than its length times the logarithm of that, and
  // memory stays below 32 bytes for each byte of it, half of that once it is parsed, and 64 KiB
  // more.
  int32_t (*Parse)(const runtime::ByteBuffer* text, IJsonObject** object);
};
template <>
struct ListTraits<JsonApiList> {
  static constexpr const char* kName = kJsonApiListName;
  static constexpr ListSlot kSlots[] = {
      VEXA_LIST_SLOT(JsonApiList, GetModuleInfo, 0),
      VEXA_LIST_SLOT(JsonApiList, CreateObject, 1),
      VEXA_LIST_SLOT(JsonApiList, Parse, 2),
  };
};
static_assert(namesEverySlot<JsonApiList>());

// Objects and arrays that may stand in each other in a parsed text, the outermost object included.
// The setters know no limit.
inline constexpr uint32_t kJsonMaxDepth = 512;

}  // namespace vexa
