#include "json/parser.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string_view>

#include "base/char_classes.h"
#include "json/array.h"
#include "json/growing_stack.h"
#include "json/key_index.h"
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
// Values wait on one stack until their object or array is closed. Functions that fail leave them
// there, and the end of the parser releases them.
class Parser {
 public:
  explicit Parser(ValuePool& pool, uint64_t length)
      : pool_(pool), cursor_(pool.text()), end_(cursor_ + length) {}
  Parser(const Parser&) = delete;
  Parser& operator=(const Parser&) = delete;
  ~Parser() {
    for (const PendingValue& pending : pending_.from(0)) {
      pending.value->Release();
    }
  }

  // text = comments object *byte
  int32_t parse(base::ComPtr<JsonObject>& object) {
    skipComments();
    if (takeToken('{')) {
      object.reset(takeCollection<JsonObject>());
    }
    return object ? kOk : result_;
  }

 private:
  // --- values: each function returns a value with one reference, or null and result_ ---

  // value = comments ( string / number / "[" elements / "{" members / "true" / "false" / "null" )
  JsonValue* takeValue() {
    skipComments();
    switch (*cursor_) {
      case '"':
        return takeString();
      case '{':
        takeToken('{');
        return takeCollection<JsonObject>();
      case '[':
        takeToken('[');
        return takeCollection<JsonArray>();
      case 't':
        return takeWord("true") ? takeBool(true) : nullptr;
      case 'f':
        return takeWord("false") ? takeBool(false) : nullptr;
      case 'n':
        return takeWord("null") ? create<JsonNull>() : nullptr;
      default:
        return takeNumber();
    }
  }

  template <class Kind>
  Kind* create() {
    Kind* const value = JsonValue::createIn<Kind>(pool_);
    if (value == nullptr) {
      result_ = kOutOfMemory;
    }
    return value;
  }

  JsonValue* takeBool(bool value) {
    auto* const made = create<JsonBool>();
    if (made != nullptr) {
      made->set(value);
    }
    return made;
  }

  JsonValue* takeString() {
    char* const body = ++cursor_;
    char* const bodyEnd = decodeString(cursor_);
    if (bodyEnd == nullptr) {
      return nullptr;
    }
    auto* const made = create<JsonString>();
    if (made != nullptr) {
      made->borrow(body, static_cast<uint64_t>(bodyEnd - body));
    }
    return made;
  }

  // number = [ ( "-" / "+" ) *white-space ] 1*digit [ "." 1*digit ]
  JsonValue* takeNumber() {
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
      return nullptr;
    }
    const char* const digitsEnd = cursor_;
    if (*cursor_ == '.') {
      ++cursor_;
      if (!takeDigits()) {
        return nullptr;
      }
    }
    auto* const made = create<JsonNumber>();
    if (made != nullptr && isConverted) {
      made->set(saturated(digits, digitsEnd, isNegative));
    }
    return made;
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

  template <class Kind>
  Kind* takeCollection() {
    if (depth_ == kJsonMaxDepth) {
      return nullptr;
    }
    base::ComPtr<Kind> made(create<Kind>());
    if (!made) {
      return nullptr;
    }
    ++depth_;
    const uint64_t first = pending_.size();
    if (!takeContent(made.get())) {
      return nullptr;
    }
    --depth_;
    return fill(*made.get(), first) ? made.release() : nullptr;
  }

  // Moves the pending values from `first` on into the collection.
  bool fill(JsonCollection& collection, uint64_t first) {
    const auto values = pending_.from(first);
    if (values.empty()) {
      return true;
    }
    auto* const items =
        static_cast<JsonValue**>(pool_.takeArray(values.size() * sizeof(JsonValue*)));
    if (items == nullptr) {
      return outOfMemory();
    }
    std::transform(values.begin(), values.end(), items,
                   [](const PendingValue& pending) { return pending.value; });
    collection.adopt({items, values.size()});
    pending_.shrink(first);
    return true;
  }

  // members = comments [ member *( "," member ) ] "}"
  bool takeContent(const JsonObject* /*kind*/) {
    skipComments();
    if (takeToken('}')) {
      return true;
    }
    const uint64_t first = pending_.size();
    KeyIndex index;
    do {
      if (!takeMember(first, index)) {
        return false;
      }
      skipComments();
    } while (takeToken(','));
    return takeToken('}');
  }

  // member = comments string ":" value comments
  // Of members with equal keys the first one stays.
  bool takeMember(uint64_t first, KeyIndex& index) {
    std::string_view key;
    if (!takeKey(key)) {
      return false;
    }
    const uint64_t digest = digestKey(key);
    const bool isNew = index.lacks(digest);
    JsonValue* const value = takeValue();
    if (value == nullptr) {
      return false;
    }
    if (!isNew && index.contains(pending_.from(first), key, digest)) {
      value->Release();
      return true;
    }
    value->borrowName(key);
    return hold(value, digest) && (index.add(pending_.from(first)) || outOfMemory());
  }

  // elements = comments [ value *( "," value ) ] "]"
  bool takeContent(const JsonArray* /*kind*/) {
    skipComments();
    if (takeToken(']')) {
      return true;
    }
    do {
      JsonValue* const value = takeValue();
      if (value == nullptr || !hold(value, 0)) {
        return false;
      }
    } while (takeToken(','));
    return takeToken(']');
  }

  // Takes over the reference.
  bool hold(JsonValue* value, uint64_t digest) {
    if (pending_.push({value, digest})) {
      return true;
    }
    value->Release();
    return outOfMemory();
  }

  bool outOfMemory() {
    result_ = kOutOfMemory;
    return false;
  }

  // --- tokens ---

  // key = comments string ":", the string left as it is written.
  bool takeKey(std::string_view& key) {
    skipComments();
    if (*cursor_ != '"') {
      return false;
    }
    char* const start = ++cursor_;
    char* const closingQuote = findClosingQuote(start, end_);
    if (closingQuote == nullptr) {
      return false;
    }
    *closingQuote = '\0';
    cursor_ = closingQuote + 1;
    key = {start, static_cast<size_t>(closingQuote - start)};
    return takeToken(':');
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
  // A slash without a second one stays where it is.
  void skipComments() {
    skipWhitespace();
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
  GrowingStack<PendingValue, 64> pending_;
};

}  // namespace

int32_t parseText(const runtime::ByteBuffer& text, base::ComPtr<JsonObject>& object) {
  object.reset();
  const uint64_t length = text.data != nullptr ? text.length : 0;
  ValuePool* const pool = ValuePool::create(text.data, length);
  if (pool == nullptr) {
    return kOutOfMemory;
  }
  int32_t result;
  {
    Parser parser(*pool, length);
    result = parser.parse(object);
  }
  pool->release(1);
  return result;
}

}  // namespace vexa::json
