#pragma once

#include "vexa/runtime/records.h"
#include "vexa/runtime/table_traits.h"

// Tables of the string component "vexastring". A *text* is a zero-terminated block; a *string* is
// a StringObject. Results are 0 or a negative code unless said otherwise.
namespace vexa::runtime {

inline constexpr char kStringComponent[] = "vexastring";

inline constexpr char kStringName[] = "String.1";

// "String.1"
struct StringTable {
  Reserved reserved0;
  Reserved reserved1;
  void (*TextRelease)(char* text);
  // A copy on the root heap, freed with the root list's Free. Null in, null out.
  char* (*TextDuplicate)(const char* text);
  Reserved reserved4;
  // Unsigned byte order: -1, 0 or 1. Null sorts first; two nulls are equal.
  int32_t (*TextCompare)(const char* a, const char* b);
  Reserved reserved6;
  Reserved reserved7;
  int32_t (*Create)(StringObject** out);
  void (*Destroy)(StringObject* string);  // text and record; null ignored
  void (*Clear)(StringObject* string);
  // A counted copy; the source may lie inside the string's own text.
  int32_t (*AssignBytes)(StringObject* string, const void* bytes, uint64_t length);
  int32_t (*AssignText)(StringObject* string, const char* text);  // null: empty
  int32_t (*AppendText)(StringObject* string, const char* text);
  const char* (*GetText)(const StringObject* string);  // never null
  uint64_t (*GetLength)(const StringObject* string);
  int32_t (*Compare)(const StringObject* a, const StringObject* b);          // 0: equal, exact
  int32_t (*CompareWithText)(const StringObject* string, const char* text);  // 0: equal, case-blind
  int32_t (*Normalise)(StringObject* string);                                // in place
  int32_t (*Decode)(const StringObject* source, StringObject* target);       // percent escapes
  int32_t (*Trim)(StringObject* string);
  // 1: found, *before is the part up to the separator and *rest the part behind it. 0: absent,
  // *before is the whole and *rest empty. Negative: failed. An out may be the source.
  int32_t (*SplitFirst)(const StringObject* source, const char* separator, StringObject* before,
                        StringObject* rest);
};
VEXA_FIXED_SLOT(StringTable, TextRelease, 2);
VEXA_FIXED_SLOT(StringTable, TextDuplicate, 3);
VEXA_FIXED_SLOT(StringTable, TextCompare, 5);
VEXA_OUR_SLOT(StringTable, Create, 8);
VEXA_OUR_SLOT(StringTable, Destroy, 9);
VEXA_OUR_SLOT(StringTable, Clear, 10);
VEXA_OUR_SLOT(StringTable, AssignBytes, 11);
VEXA_OUR_SLOT(StringTable, AssignText, 12);
VEXA_OUR_SLOT(StringTable, AppendText, 13);
VEXA_OUR_SLOT(StringTable, GetText, 14);
VEXA_OUR_SLOT(StringTable, GetLength, 15);
VEXA_OUR_SLOT(StringTable, Compare, 16);
VEXA_OUR_SLOT(StringTable, CompareWithText, 17);
VEXA_OUR_SLOT(StringTable, Normalise, 18);
VEXA_OUR_SLOT(StringTable, Decode, 19);
VEXA_OUR_SLOT(StringTable, Trim, 20);
VEXA_OUR_SLOT(StringTable, SplitFirst, 21);
template <>
struct TableTraits<StringTable> {
  static constexpr const char* kComponent = kStringComponent;
  static constexpr const char* kName = kStringName;
};

inline constexpr uint32_t kUtf8 = 65001;             // code page
inline constexpr uint64_t kNotFound = ~uint64_t{0};  // Find

inline constexpr char kWideStringName[] = "StringW.1";

// "StringW.1": the same with 16-bit units.
struct WideStringTable {
  Reserved reserved0;
  Reserved reserved1;
  void (*TextRelease)(char16_t* text);
  char16_t* (*TextDuplicate)(const char16_t* text);
  Reserved reserved4;
  int32_t (*TextCompare)(const char16_t* a, const char16_t* b);
  Reserved reserved6;
  Reserved reserved7;
  int32_t (*Create)(WideStringObject** out);
  void (*Destroy)(WideStringObject* string);
  void (*Clear)(WideStringObject* string);
  int32_t (*AssignUnits)(WideStringObject* string, const char16_t* units, uint64_t length);
  int32_t (*AssignText)(WideStringObject* string, const char16_t* text);
  int32_t (*AppendText)(WideStringObject* string, const char16_t* text);
  const char16_t* (*GetText)(const WideStringObject* string);
  uint64_t (*GetLength)(const WideStringObject* string);
  int32_t (*Compare)(const WideStringObject* a, const WideStringObject* b);
  Reserved reserved17to19[3];
  int32_t (*Trim)(WideStringObject* string);
  int32_t (*SplitFirst)(const WideStringObject* source, const char16_t* separator,
                        WideStringObject* before, WideStringObject* rest);
  // Index in units of the first exact occurrence at or behind `start`, or kNotFound.
  uint64_t (*Find)(const WideStringObject* string, const char16_t* text, uint64_t start);
  // 1: the pattern covers the whole string. '*' any run, '?' one unit, ASCII case-blind. The
  // reference runtime takes time linear in both lengths together, but for pieces between two stars
  // with a '?' in them: such a one takes up to its own length times the string's.
  int32_t (*WildcardMatch)(const WideStringObject* string, const char16_t* pattern);
  int32_t (*FromMultiByte)(WideStringObject* string, uint32_t codePage, const char* text);
  int32_t (*ToMultiByte)(const WideStringObject* string, uint32_t codePage, StringObject* out);
};
VEXA_OUR_SLOT(WideStringTable, TextRelease, 2);
VEXA_OUR_SLOT(WideStringTable, TextDuplicate, 3);
VEXA_OUR_SLOT(WideStringTable, TextCompare, 5);
VEXA_OUR_SLOT(WideStringTable, Create, 8);
VEXA_OUR_SLOT(WideStringTable, Destroy, 9);
VEXA_OUR_SLOT(WideStringTable, Clear, 10);
VEXA_OUR_SLOT(WideStringTable, AssignUnits, 11);
VEXA_OUR_SLOT(WideStringTable, AssignText, 12);
VEXA_OUR_SLOT(WideStringTable, AppendText, 13);
VEXA_OUR_SLOT(WideStringTable, GetText, 14);
VEXA_OUR_SLOT(WideStringTable, GetLength, 15);
VEXA_OUR_SLOT(WideStringTable, Compare, 16);
VEXA_OUR_SLOT(WideStringTable, Trim, 20);
VEXA_OUR_SLOT(WideStringTable, SplitFirst, 21);
VEXA_OUR_SLOT(WideStringTable, Find, 22);
VEXA_OUR_SLOT(WideStringTable, WildcardMatch, 23);
VEXA_OUR_SLOT(WideStringTable, FromMultiByte, 24);
VEXA_OUR_SLOT(WideStringTable, ToMultiByte, 25);
template <>
struct TableTraits<WideStringTable> {
  static constexpr const char* kComponent = kStringComponent;
  static constexpr const char* kName = kWideStringName;
};

inline constexpr char kMultiStringName[] = "MultiString.1";
inline constexpr char kWideMultiStringName[] = "MultiStringW.1";

// "MultiString.1" and "MultiStringW.1": bound and released, never called.
struct MultiStringTable {
  Reserved reserved0;
};

}  // namespace vexa::runtime
