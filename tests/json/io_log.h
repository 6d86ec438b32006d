#pragma once

#include <string>
#include <vector>

#include "support/spy_runtime.h"

namespace vexa::test {

// Listens to SEC_IO_1 and to the streams it makes, and lets one of their operations fail. One at a
// time: table entries have no self.
class IoLog {
 public:
  explicit IoLog(SpyRuntime& spy) : spy_(spy), real_(spy.io) {
    current_ = this;
    spy.io.CreateMemoryStream = create;
    spy.io.Write = write;
    spy.io.GetContent = getContent;
  }
  IoLog(const IoLog&) = delete;
  IoLog& operator=(const IoLog&) = delete;
  ~IoLog() {
    spy_.io = real_;
    current_ = nullptr;
  }

  // What was called, in order: "create", "write", "content", "release". Writes in a row are one.
  std::vector<std::string> calls;
  std::vector<std::string> pieces;  // what was written, also when it failed
  std::string joined() const {
    std::string text;
    for (const std::string& piece : pieces) {
      text += piece;
    }
    return text;
  }

  int32_t createResult = kOk;
  int32_t contentResult = kOk;
  int32_t writeResult = kOk;    // of that write
  size_t writeAt = ~size_t{0};  // counted from 0

 private:
  void note(const char* call) {
    if (calls.empty() || calls.back() != call) {
      calls.emplace_back(call);
    }
  }

  static int32_t create(runtime::Stream** out) {
    current_->note("create");
    if (failed(current_->createResult)) {
      *out = nullptr;
      return current_->createResult;
    }
    const int32_t result = current_->real_.CreateMemoryStream(out);
    if (succeeded(result)) {
      current_->streamTable_ = *(*out)->table;
      current_->realRelease_ = current_->streamTable_.Release;
      current_->streamTable_.Release = release;
      (*out)->table = &current_->streamTable_;
    }
    return result;
  }
  static int32_t write(runtime::Stream* stream, const void* bytes, uint64_t count) {
    current_->note("write");
    current_->pieces.emplace_back(static_cast<const char*>(bytes), count);
    if (current_->pieces.size() - 1 == current_->writeAt) {
      return current_->writeResult;
    }
    return current_->real_.Write(stream, bytes, count);
  }
  static int32_t getContent(runtime::Stream* stream, runtime::ByteBuffer** out) {
    current_->note("content");
    return failed(current_->contentResult) ? current_->contentResult
                                           : current_->real_.GetContent(stream, out);
  }
  static uint32_t release(runtime::Object* stream) {
    current_->calls.emplace_back("release");
    return current_->realRelease_(stream);
  }

  inline static IoLog* current_ = nullptr;
  SpyRuntime& spy_;
  const runtime::IoTable real_;
  runtime::ObjectHeader streamTable_{};
  uint32_t (*realRelease_)(runtime::Object*) = nullptr;
};

}  // namespace vexa::test
