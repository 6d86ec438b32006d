#include "base/heap.h"
#include "json/growing_stack.h"
#include "json/text_writer.h"
#include "json/values.h"

// Slot 11 of a value: trees as text.
namespace vexa::json {
namespace {

// Writes a tree with a stack of its own: values can be nested deeper than the thread's stack is.
class TreeWriter {
 public:
  explicit TreeWriter(TextWriter& out) : out_(out) {}

  // kOutOfMemory: nested too deep. The text writer keeps the stream's failures.
  int32_t write(const Item& content) {
    if (!content.isCollection()) {
      writeScalar(content);
      return kOk;
    }
    int32_t result = open(content);
    while (succeeded(result) && !levels_.empty() && succeeded(out_.result())) {
      result = writeLevel(levels_.back());
    }
    return result;
  }

 private:
  struct Level {
    Item collection;
    uint64_t next;  // index of the next element to write
  };

  template <size_t kFirst, size_t kSecond>
  void putEither(bool isFirst, const char (&first)[kFirst], const char (&second)[kSecond]) {
    if (isFirst) {
      out_.put(first);
    } else {
      out_.put(second);
    }
  }

  void writeScalar(const Item& content) {
    switch (content.type()) {
      case kJsonString:
        out_.put("\"");
        out_.putEscaped(content.text());
        out_.put("\"");
        break;
      case kJsonNumber:
        out_.putInteger(content.number());
        break;
      case kJsonNull:
        out_.put("null");
        break;
      default:
        putEither(content.number() != 0, "true", "false");
        break;
    }
  }

  int32_t open(const Item& collection) {
    putEither(collection.type() == kJsonObject, "{\n", "[\n");
    return levels_.push({collection, 0}) ? kOk : kOutOfMemory;
  }

  // Writes elements up to the one that opens a deeper level, or to the end of this one.
  int32_t writeLevel(Level& level) {
    const Item collection = level.collection;
    const bool isObject = collection.type() == kJsonObject;
    for (uint64_t index = level.next; index != collection.length(); ++index) {
      if (isObject) {
        putEither(index == 0, "\"", ",\n\"");
        out_.putEscaped(keyOf(collection, index));
        out_.put("\" : ");
      } else if (index != 0) {
        out_.put(",\n");
      }
      const Item content = contentOf(elementOf(collection, index));
      if (content.isCollection()) {
        level.next = index + 1;
        return open(content);  // may move the levels
      }
      writeScalar(content);
    }
    putEither(isObject, "\n}\n", "\n]\n");
    levels_.pop();
    return kOk;
  }

  TextWriter& out_;
  GrowingStack<Level, 32> levels_;
};

}  // namespace

int32_t JsonValue::Write(runtime::Stream* stream) {
  if (content_.isAbsent()) {
    return kNotImplemented;
  }
  TextWriter out(stream);
  const int32_t result = TreeWriter(out).write(content_);
  const int32_t written = out.finish();
  return failed(result) ? result : written;
}

}  // namespace vexa::json
