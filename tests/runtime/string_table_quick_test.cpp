#include <gtest/gtest.h>

#include <random>
#include <string>

#include "runtime/basic_tables.h"
#include "runtime/heap_poison.h"
#include "vexa/results.h"
#include "vexa/runtime/reference.h"

namespace vexa::test {
namespace {

// Strings on the heap as it runs when nobody watches: they keep their blocks where they can.
class QuickStrings : public ::testing::Test {
 protected:
  QuickStrings() : live_(velmora_live_blocks()) { velmora_watch_heap(0); }
  ~QuickStrings() override {
    strings.Clear(&string);
    EXPECT_EQ(velmora_live_blocks(), live_);
    velmora_watch_heap(velmora::kUnderAddressSanitizer ? 1 : 0);
  }

  void assign(const char* bytes, uint64_t length) {
    ASSERT_EQ(strings.AssignBytes(&string, bytes, length), kOk);
  }
  std::string text() const {
    EXPECT_TRUE(string.text == nullptr || string.text[string.length] == 0);
    return {strings.GetText(&string), string.length};
  }

  const runtime::StringTable& strings = velmora::stringTable;
  runtime::StringObject string{};

 private:
  uint64_t live_;
};

TEST_F(QuickStrings, AnotherTextOfThatSizeTakesTheSameBlock) {
  assign("abcdef", 6);
  const char* const block = string.text;
  assign("0123456789abcde", 15);
  EXPECT_EQ(string.text, block);
  EXPECT_EQ(text(), "0123456789abcde");
  assign("x", 1);
  EXPECT_EQ(string.text, block);
  EXPECT_EQ(text(), "x");
}

TEST_F(QuickStrings, ALongerTextTakesAnotherBlock) {
  assign("abcdef", 6);
  const std::string longer(1000, 'x');
  assign(longer.data(), longer.size());
  EXPECT_EQ(text(), longer);
}

TEST_F(QuickStrings, NothingLeavesNoBlock) {
  assign("abcdef", 6);
  assign("", 0);
  EXPECT_EQ(string.text, nullptr);
}

TEST_F(QuickStrings, EveryPieceOfItselfCanBeAssigned) {
  const std::string whole = "The quick brown fox jumps over the lazy dog";
  for (size_t start = 0; start <= whole.size(); ++start) {
    for (size_t length = 0; start + length <= whole.size(); ++length) {
      assign(whole.data(), whole.size());
      assign(string.text + start, length);
      ASSERT_EQ(text(), whole.substr(start, length));
    }
  }
}

TEST_F(QuickStrings, AnyOrderOfLengthsKeepsTheText) {
  std::minstd_rand random(1);
  for (int i = 0; i < 5000; ++i) {
    const std::string wanted(random() % (uint64_t{1} << random() % 14),
                             static_cast<char>(random()));
    assign(wanted.data(), wanted.size());
    ASSERT_EQ(text(), wanted);
  }
}

}  // namespace
}  // namespace vexa::test
