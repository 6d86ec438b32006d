#pragma once

#include <algorithm>
#include <cstring>
#include <string_view>
#include <type_traits>

#include "runtime/heap.h"
#include "runtime/holders.h"
#include "vexa/results.h"
#include "vexa/runtime/records.h"

// What the narrow and the wide string table have in common. `Char` is the unit, `Record` the string
// record. Operations that fail leave their strings as they were.
namespace vexa::velmora {

template <class Char>
constexpr bool isBlank(Char unit) {
  return unit == '\t' || unit == '\n' || unit == '\r' || unit == ' ';
}

template <class Char>
constexpr Char upper(Char unit) {
  return unit >= 'a' && unit <= 'z' ? static_cast<Char>(unit - 'a' + 'A') : unit;
}

template <class Record>
class StringOperations {
 public:
  using Char = std::remove_pointer_t<decltype(Record::text)>;
  using View = std::basic_string_view<Char>;
  using Traits = std::char_traits<Char>;

  static View view(const Record* string) {
    return string == nullptr || string->text == nullptr ? View()
                                                        : View(string->text, string->length);
  }
  static View view(const Char* text) { return text == nullptr ? View() : View(text); }

  // Gives the string another text, which it owns from now on; null for the empty string.
  static void adopt(Record* string, Char* text, uint64_t length) {
    freeBlock(string->text);
    *string = {text, text == nullptr ? 0 : length};
  }

  // A block with room for a terminator, which is there already.
  static Char* allocateText(uint64_t length) {
    return length >= ~uint64_t{0} / sizeof(Char)
               ? nullptr
               : static_cast<Char*>(allocateBlock((length + 1) * sizeof(Char)));
  }

  static Char* copyText(View text) {
    Char* const copy = allocateText(text.size());
    if (copy != nullptr) {
      Traits::copy(copy, text.data(), text.size());
    }
    return copy;
  }

  // `text` may lie inside the string's own text.
  static int32_t assign(Record* string, View text) {
    if (assignInPlace(string, text)) {
      return kOk;
    }
    Char* const copy = text.empty() ? nullptr : copyText(text);
    if (copy == nullptr && !text.empty()) {
      return kOutOfMemory;
    }
    adopt(string, copy, text.size());
    return kOk;
  }

  // --- Table entries ---

  static void textRelease(Char* text) { freeText(text); }

  static Char* textDuplicate(const Char* text) {
    return text == nullptr
               ? nullptr
               : static_cast<Char*>(duplicateText(text, (Traits::length(text) + 1) * sizeof(Char)));
  }

  static int32_t textCompare(const Char* a, const Char* b) {
    if (a == nullptr || b == nullptr) {
      return (a != nullptr) - (b != nullptr);
    }
    return order(View(a), View(b));
  }

  static int32_t create(Record** out) {
    if (out == nullptr) {
      return kNullPointer;
    }
    *out = makeBlock<Record>().release();
    return *out == nullptr ? kOutOfMemory : kOk;
  }

  static void destroy(Record* string) {
    clear(string);
    freeBlock(string);
  }

  static void clear(Record* string) {
    if (string != nullptr) {
      adopt(string, nullptr, 0);
    }
  }

  static int32_t assignText(Record* string, const Char* text) {
    return string == nullptr ? kNullPointer : assign(string, view(text));
  }

  static int32_t appendText(Record* string, const Char* text) {
    if (string == nullptr) {
      return kNullPointer;
    }
    const View first = view(string);
    const View second = view(text);
    if (second.empty()) {
      return kOk;
    }
    Char* const joined = allocateText(first.size() + second.size());
    if (joined == nullptr) {
      return kOutOfMemory;
    }
    Traits::copy(joined, first.data(), first.size());
    Traits::copy(joined + first.size(), second.data(), second.size());
    adopt(string, joined, first.size() + second.size());
    return kOk;
  }

  static const Char* getText(const Record* string) {
    static constexpr Char kEmpty[1] = {};
    return string == nullptr || string->text == nullptr ? kEmpty : string->text;
  }

  static uint64_t getLength(const Record* string) { return view(string).size(); }

  // Null sorts first, as with texts.
  static int32_t compare(const Record* a, const Record* b) {
    if (a == nullptr || b == nullptr) {
      return (a != nullptr) - (b != nullptr);
    }
    return order(view(a), view(b));
  }

  static int32_t trim(Record* string) {
    if (string == nullptr) {
      return kNullPointer;
    }
    View rest = view(string);
    while (!rest.empty() && isBlank(rest.front())) {
      rest.remove_prefix(1);
    }
    while (!rest.empty() && isBlank(rest.back())) {
      rest.remove_suffix(1);
    }
    if (rest.empty()) {
      clear(string);
    } else if (rest.size() != string->length) {
      Traits::move(string->text, rest.data(), rest.size());
      string->text[rest.size()] = Char{};
      string->length = rest.size();
    }
    return kOk;
  }

  static int32_t splitFirst(const Record* source, const Char* separator, Record* before,
                            Record* rest) {
    if (source == nullptr || separator == nullptr || before == nullptr || rest == nullptr) {
      return kNullPointer;
    }
    const View whole = view(source);
    const View mark(separator);
    const size_t at = mark.empty() ? View::npos : whole.find(mark);
    const bool found = at != View::npos;
    // Both parts are copied before either out changes, since an out may be the source.
    Record parts[2] = {};
    if (failed(assign(&parts[0], whole.substr(0, at))) ||
        failed(assign(&parts[1], found ? whole.substr(at + mark.size()) : View()))) {
      clear(&parts[0]);
      return kOutOfMemory;
    }
    adopt(before, parts[0].text, parts[0].length);
    adopt(rest, parts[1].text, parts[1].length);
    return found ? 1 : 0;
  }

  // What the tables of both kinds of string have in the same slots.
  template <class Table>
  static constexpr Table commonSlots() {
    Table table{};
    table.TextRelease = textRelease;
    table.TextDuplicate = textDuplicate;
    table.TextCompare = textCompare;
    table.Create = create;
    table.Destroy = destroy;
    table.Clear = clear;
    table.AssignText = assignText;
    table.AppendText = appendText;
    table.GetText = getText;
    table.GetLength = getLength;
    table.Compare = compare;
    table.Trim = trim;
    table.SplitFirst = splitFirst;
    return table;
  }

 private:
  // In the block that is there, when it has room.
  static bool assignInPlace(Record* string, View text) {
    const uint64_t size = (text.size() + 1) * sizeof(Char);
    if (text.empty() || string->text == nullptr || !fitsInPlace(string->text, size)) {
      return false;
    }
    if (text.size() > string->length) {
      resizeInPlace(string->text, size);
    }
    Traits::move(string->text, text.data(), text.size());
    string->text[text.size()] = Char{};
    string->length = text.size();
    resizeInPlace(string->text, size);
    return true;
  }

  // Exactly -1, 0 or 1, by units as unsigned numbers.
  static int32_t order(View a, View b) {
    const int result = a.compare(b);
    return (result > 0) - (result < 0);
  }
};

}  // namespace vexa::velmora
