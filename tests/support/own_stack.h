#pragma once

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mman.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <vector>

namespace vexa::test {

// A stack of its own for one operation, so that nobody writes over what that leaves.
class OwnStack {
 public:
  OwnStack()
      : bytes_(static_cast<uint8_t*>(
            mmap(nullptr, kLength, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))) {}
  OwnStack(const OwnStack&) = delete;
  OwnStack& operator=(const OwnStack&) = delete;
  ~OwnStack() { munmap(bytes_, kLength); }

  // Once elsewhere first: when a function is called for the first time, the system's loader saves
  // the registers, with whatever they hold, on the stack.
  void run(const std::function<void()>& operation) {
    OwnStack().runHere(operation);
    runHere(operation);
  }

  // What the operation left there, from the lowest page that it wrote on.
  std::vector<uint8_t> left() const {
    static constexpr std::array<uint8_t, kPage> kUntouched{};
    const uint8_t* const end = bytes_ + kLength;
    const uint8_t* first = bytes_;
    while (first != end && std::memcmp(first, kUntouched.data(), kPage) == 0) {
      first += kPage;
    }
    return {first, end};
  }

 private:
  static constexpr size_t kPage = 4096;
  static constexpr size_t kLength = 1 << 20;

  void runHere(const std::function<void()>& operation) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstack(&attributes, bytes_, kLength), 0);
    pthread_t thread;
    ASSERT_EQ(
        pthread_create(&thread, &attributes, call, const_cast<std::function<void()>*>(&operation)),
        0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
  }

  // Below a wide room: what ends a thread writes over the top of its stack.
  static void* call(void* operation) {
    [[maybe_unused]] volatile uint8_t room[kLength / 4];
    room[0] = 0;
    (*static_cast<std::function<void()>*>(operation))();
    room[0] = 1;
    return nullptr;
  }

  uint8_t* const bytes_;
};

}  // namespace vexa::test
