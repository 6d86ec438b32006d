#include "base/root_vector.h"
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
    open(content);
    while (succeeded(out_.result())) {
      const Item nested = level_.collection.type() == kJsonObject ? writeLevel<kJsonObject>()
                                                                  : writeLevel<kJsonArray>();
      if (!nested.isAbsent()) {
        if (failed(outer_.append(level_))) {
          return kOutOfMemory;
        }
        open(nested);
      } else if (outer_.empty()) {
        break;
      } else {
        level_ = outer_.back();
        outer_.pop();
      }
    }
    return kOk;
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
        out_.putEscaped("\"", content.text(), "\"");
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

  void open(const Item& collection) {
    putEither(collection.type() == kJsonObject, "{\n", "[\n");
    level_ = {collection, 0};
  }

  // Writes elements up to the first one that is a collection, which it answers, or to the end.
  template <uint32_t kType>
  Item writeLevel() {
    const Item collection = level_.collection;
    for (uint64_t index = level_.next; index != collection.length(); ++index) {
      if constexpr (kType == kJsonObject) {
        writeName(index == 0, keyOf(collection, index));
      } else if (index != 0) {
        out_.put(",\n");
      }
      const Item content = contentOf(elementOf<kType>(collection, index));
      if (content.isCollection()) {
        level_.next = index + 1;
        return content;
      }
      writeScalar(content);
    }
    putEither(kType == kJsonObject, "\n}\n", "\n]\n");
    return Item::absent();
  }

  void writeName(bool isFirst, std::string_view name) {
    if (isFirst) {
      out_.putEscaped("\"", name, "\" : ");
    } else {
      out_.putEscaped(",\n\"", name, "\" : ");
    }
  }

  TextWriter& out_;
  Level level_{Item::absent(), 0};
  base::RootStack<Level, 32> outer_;  // the levels around it
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
