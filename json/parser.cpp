#include "json/parser.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <span>
#include <string_view>

#include "base/char_classes.h"
#include "base/root_vector.h"
#include "json/repeated_keys.h"
#include "json/string_decoder.h"

namespace vexa::json {
namespace {

using base::isInClass;
using base::kDigit;
using base::kWhitespace;

// A parser by recursive descent over a writable copy of the text, which stays as the memory of its
// keys and strings: they are decoded where they stand. Zero bytes behind the text end every scan:
// zero belongs to no class but that of escaped characters.
//
// Items wait on one stack until their object or array is closed, and then move to the pool.
class Parser {
 public:
  explicit Parser(ValuePool& pool, uint64_t length)
      : pool_(pool), cursor_(pool.text()), end_(cursor_ + length) {}
  Parser(const Parser&) = delete;
  Parser& operator=(const Parser&) = delete;

  // text = comments object *byte
  int32_t parse(Item& root) {
    skipWhitespace();
    skipComments();
    root = takeToken('{') ? takeObject() : Item::absent();
    return root.isAbsent() ? result_ : kOk;
  }

 private:
  // --- values: each function returns an item, or an absent one and result_ ---

  // value = comments ( string / number / "[" elements / "{" members / "true" / "false" / "null" )
  // White space before it is passed over already.
  Item takeValue() {
    if (*cursor_ == '/') {
      skipComments();
    }
    switch (*cursor_) {
      case '"':
        return takeString();
      case '{':
        takeToken('{');
        return takeObject();
      case '[':
        takeToken('[');
        return takeArray();
      case 't':
        return takeWord("true") ? Item::boolean(true) : Item::absent();
      case 'f':
        return takeWord("false") ? Item::boolean(false) : Item::absent();
      case 'n':
        return takeWord("null") ? Item::null() : Item::absent();
      default:
        return takeNumber();
    }
  }

  Item takeString() {
    char* const body = ++cursor_;
    char* const bodyEnd = decodeString(cursor_);
    return bodyEnd == nullptr ? Item::absent()
                              : Item::string(body, static_cast<uint64_t>(bodyEnd - body));
  }

  // number = [ ( "-" / "+" ) *white-space ] 1*digit [ "." 1*digit ]
  Item takeNumber() {
    const bool isNegative = *cursor_ == '-';
    // What is converted is the text from the sign on, up to the first character that is no digit:
    // behind white space there is none.
    bool isConverted = true;
    if (isNegative || *cursor_ == '+') {
      ++cursor_;
      isConverted = isInClass(*cursor_, kDigit);
      skipWhitespace();
    }
    const char* const digits = cursor_;
    if (!takeDigits()) {
      return Item::absent();
    }
    const char* const digitsEnd = cursor_;
    if (*cursor_ == '.') {
      ++cursor_;
      if (!takeDigits()) {
        return Item::absent();
      }
    }
    return Item::number(isConverted ? saturated(digits, digitsEnd, isNegative) : 0);
  }

  bool takeDigits() {
    const char* const start = cursor_;
    while (isInClass(*cursor_, kDigit)) {
      ++cursor_;
    }
    return cursor_ != start;
  }

  static int32_t saturated(const char* digit, const char* end, bool isNegative) {
    using Limits = std::numeric_limits<int32_t>;
    constexpr int64_t kBeyond = int64_t{Limits::max()} + 1;
    int64_t value = 0;
    for (; digit != end && value < kBeyond; ++digit) {
      value = value * 10 + (*digit - '0');
    }
    value = isNegative ? -value : value;
    return static_cast<int32_t>(std::clamp<int64_t>(value, Limits::min(), Limits::max()));
  }

  // --- objects and arrays, from behind the opening bracket on ---

  // members = comments [ member *( "," member ) ] "}"
  // Of members with equal keys the first one stays.
  Item takeObject() {
    const uint64_t first = pending_.size();
    if (++depth_ > kJsonMaxDepth || !takeMembers()) {
      return Item::absent();
    }
    --depth_;
    const auto items = heldFrom(first);
    uint64_t members = 0;
    if (!repeatedKeys_.drop(items, members)) {
      return outOfMemory();
    }
    return close(kJsonObject, first, items.data(), members);
  }

  bool takeMembers() {
    skipComments();
    if (takeToken('}')) {
      return true;
    }
    do {
      if (!takeMember()) {
        return false;
      }
    } while (takeToken(','));
    return takeToken('}');
  }

  // member = comments string ":" value comments
  bool takeMember() {
    const Item key = takeKey();
    if (key.isAbsent() || !hold(key)) {
      return false;
    }
    const Item value = takeValue();
    if (value.isAbsent() || !hold(value)) {
      return false;
    }
    skipWhitespace();
    skipComments();
    return true;
  }

  // elements = comments [ value *( "," value ) ] "]"
  Item takeArray() {
    const uint64_t first = pending_.size();
    if (++depth_ > kJsonMaxDepth || !takeElements()) {
      return Item::absent();
    }
    --depth_;
    const auto items = heldFrom(first);
    return close(kJsonArray, first, items.data(), items.size());
  }

  bool takeElements() {
    skipComments();
    if (takeToken(']')) {
      return true;
    }
    do {
      const Item value = takeValue();
      if (value.isAbsent() || !hold(value)) {
        return false;
      }
    } while (takeToken(','));
    return takeToken(']');
  }

  bool hold(const Item& item) {
    if (succeeded(pending_.append(item))) {
      return true;
    }
    result_ = kOutOfMemory;
    return false;
  }

  // The items from `first` on, valid until the next one is held.
  std::span<Item> heldFrom(uint64_t first) { return {pending_.begin() + first, pending_.end()}; }

  // Moves the items of a collection from the stack, where they stand from `first` on, to the pool.
  Item close(uint32_t type, uint64_t first, const Item* items, uint64_t count) {
    Item* taken = nullptr;
    if (count != 0) {
      const uint64_t size = count * itemsEach(type);
      taken = pool_.take(size);
      if (taken == nullptr) {
        return outOfMemory();
      }
      std::copy(items, items + size, taken);
    }
    pending_.shrink(first);
    return Item::collection(type, taken, count);
  }

  Item outOfMemory() {
    result_ = kOutOfMemory;
    return Item::absent();
  }

  // --- tokens ---

  // key = comments string ":", the string left as it is written. White space before it is passed
  // over already.
  Item takeKey() {
    skipComments();
    if (*cursor_ != '"') {
      return Item::absent();
    }
    char* const start = ++cursor_;
    char* const closingQuote = findClosingQuote(start, end_);
    if (closingQuote == nullptr) {
      return Item::absent();
    }
    *closingQuote = '\0';
    cursor_ = closingQuote + 1;
    return takeToken(':') ? Item::string(start, static_cast<uint64_t>(closingQuote - start))
                          : Item::absent();
  }

  // Takes white space, the character, white space. Without the character the cursor stands behind
  // the white space before it, which whoever reads on passes over anyway.
  bool takeToken(char c) {
    skipWhitespace();
    if (*cursor_ != c) {
      return false;
    }
    ++cursor_;
    skipWhitespace();
    return true;
  }

  bool takeWord(std::string_view word) {
    static_assert(ValuePool::kPadding >= std::string_view("false").size());
    if (std::memcmp(cursor_, word.data(), word.size()) != 0) {
      return false;
    }
    cursor_ += word.size();
    return true;
  }

  void skipWhitespace() {
    while (isInClass(*cursor_, kWhitespace)) {
      ++cursor_;
    }
  }

  // comments = *( *white-space "/" *white-space "/" rest-of-line ) *white-space
  // White space before them is passed over already. A slash without a second one stays where it is.
  void skipComments() {
    while (*cursor_ == '/') {
      char* const slash = cursor_++;
      skipWhitespace();
      if (*cursor_ != '/') {
        cursor_ = slash;
        return;
      }
      void* const lineEnd = std::memchr(cursor_, '\n', static_cast<size_t>(end_ - cursor_));
      cursor_ = lineEnd != nullptr ? static_cast<char*>(lineEnd) + 1 : end_;
      skipWhitespace();
    }
  }

  ValuePool& pool_;
  char* cursor_;
  char* const end_;
  uint32_t depth_ = 0;
  int32_t result_ = kFail;
  base::RootStack<Item, 64> pending_;
  RepeatedKeys repeatedKeys_;
};

// An object over what was read, with one reference.
int32_t makeRoot(ValuePool& pool, const Item& content, base::ComPtr<JsonObject>& object) {
  const int32_t result = createValue(object);
  if (succeeded(result)) {
    object->borrow(pool, {"", 0}, content);
  }
  return result;
}

}  // namespace

int32_t parseText(const runtime::ByteBuffer& text, base::ComPtr<JsonObject>& object) {
  object.reset();
  const uint64_t length = text.data != nullptr ? text.length : 0;
  const ValuePoolRef pool(ValuePool::create(text.data, length));
  if (!pool) {
    return kOutOfMemory;
  }
  Item root = Item::absent();
  int32_t result = Parser(*pool, length).parse(root);
  if (succeeded(result)) {
    result = makeRoot(*pool, root, object);
  }
  return result;
}

}  // namespace vexa::json
