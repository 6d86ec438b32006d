#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "pal/windows_api.h"

namespace {

// A path in a buffer as long as the functions expect. PathAppendA may use all of it.
class Path {
 public:
  explicit Path(const std::string& text) { std::memcpy(text_, text.c_str(), text.size() + 1); }
  char* get() { return text_; }
  std::string text() const { return text_; }

 private:
  char text_[MAX_PATH] = {};
};

struct AppendCase {
  const char* name;
  const char* path;
  const char* more;
  const char* expected;
};
constexpr AppendCase kAppends[] = {
    {"OneSeparatorIsPutBetween", "\\a", "b", "\\a\\b"},
    {"ASeparatorThatIsThereIsUsed", "\\a\\", "b", "\\a\\b"},
    {"ALeadingSeparatorDoesNotStartAnew", "\\a", "\\b", "\\a\\b"},
    {"DotDotTakesThePartBeforeIt", "\\a\\b", "..\\c", "\\a\\c"},
    {"DotDotStopsAtTheRoot", "\\a", "..\\..", "\\"},
    {"DotIsLeftOut", "\\a", ".\\b", "\\a\\b"},
    {"DotDotAtTheEnd", "\\a", "b\\..", "\\a"},
    {"DotsWithinANameStay", "\\a", "b..c", "\\a\\b..c"},
    {"NothingAppended", "\\a", "", "\\a"},
    {"AnEmptyPathTakesTheRest", "", "b", "b"},
    {"ATrailingSeparatorStays", "\\a", "b\\", "\\a\\b\\"},
    {"TheSiblingOfBin", "\\x\\bin", "..\\lib", "\\x\\lib"},
};

std::string caseName(const testing::TestParamInfo<AppendCase>& info) { return info.param.name; }

class AppendedPath : public testing::TestWithParam<AppendCase> {};

}  // namespace

TEST_P(AppendedPath, JoinsAndResolves) {
  Path path(GetParam().path);
  EXPECT_TRUE(PathAppendA(path.get(), GetParam().more));
  EXPECT_EQ(path.text(), GetParam().expected);
}
INSTANTIATE_TEST_SUITE_P(Paths, AppendedPath, testing::ValuesIn(kAppends), caseName);

TEST(Paths, AppendFillsTheBufferToItsLastCharacter) {
  Path path("\\" + std::string(256, 'x'));
  EXPECT_TRUE(PathAppendA(path.get(), "y"));
  EXPECT_EQ(path.text().size(), 259u);
}

TEST(Paths, AppendBeyondTheBufferFailsAndEmptiesThePath) {
  Path path("\\" + std::string(257, 'x'));
  EXPECT_FALSE(PathAppendA(path.get(), "y"));
  EXPECT_EQ(path.text(), "");
}

TEST(Paths, AppendRefusesNull) {
  Path path("a");
  EXPECT_FALSE(PathAppendA(nullptr, "b"));
  EXPECT_FALSE(PathAppendA(path.get(), nullptr));
}

TEST(Paths, ExtensionIsTheLastDotOfTheLastPart) {
  EXPECT_STREQ(PathFindExtensionA("a.b.c"), ".c");
  EXPECT_STREQ(PathFindExtensionA("a.b\\c"), "");
  EXPECT_STREQ(PathFindExtensionA("a."), ".");
  EXPECT_STREQ(PathFindExtensionA(".x"), ".x");
  EXPECT_STREQ(PathFindExtensionA(""), "");
}

TEST(Paths, ADotBeforeABlankIsNoExtension) {
  EXPECT_STREQ(PathFindExtensionA("a.b c"), "");
  EXPECT_STREQ(PathFindExtensionA("a .x"), ".x");
}

TEST(Paths, NoExtensionIsThePlaceOfTheTerminator) {
  const char* path = "abc";
  EXPECT_EQ(PathFindExtensionA(path), path + 3);
}

TEST(Paths, AnExtensionIsAddedWhereThereIsNone) {
  Path path("\\a.b\\velmora");
  EXPECT_TRUE(PathAddExtensionA(path.get(), PAL_LIBRARY_EXTENSION));
  EXPECT_EQ(path.text(), std::string("\\a.b\\velmora") + PAL_LIBRARY_EXTENSION);
}

TEST(Paths, AnExtensionThatIsThereStays) {
  Path path("velmora.x");
  EXPECT_FALSE(PathAddExtensionA(path.get(), ".dll"));
  EXPECT_EQ(path.text(), "velmora.x");
}

TEST(Paths, ADotAtTheEndCountsAsAnExtension) {
  Path path("velmora.");
  EXPECT_FALSE(PathAddExtensionA(path.get(), ".dll"));
  EXPECT_EQ(path.text(), "velmora.");
}

TEST(Paths, AnExtensionMayFillTheBufferButNotMore) {
  Path fits(std::string(257, 'x'));
  EXPECT_TRUE(PathAddExtensionA(fits.get(), ".d"));
  EXPECT_EQ(fits.text().size(), 259u);

  Path full(std::string(258, 'x'));
  EXPECT_FALSE(PathAddExtensionA(full.get(), ".d"));
  EXPECT_EQ(full.text(), std::string(258, 'x'));
}

TEST(Paths, FileNameIsTheLastPart) {
  EXPECT_STREQ(PathFindFileNameA("\\x\\bin"), "bin");
  EXPECT_STREQ(PathFindFileNameA("bin"), "bin");
  EXPECT_STREQ(PathFindFileNameA("a/b"), "b");
  EXPECT_STREQ(PathFindFileNameA(""), "");
}

TEST(Paths, ASeparatorAtTheEndStartsNoFileName) {
  EXPECT_STREQ(PathFindFileNameA("a\\b\\"), "b\\");
  EXPECT_STREQ(PathFindFileNameA("\\"), "\\");
  EXPECT_STREQ(PathFindFileNameA("a\\\\"), "a\\\\");
}

TEST(Paths, FileSpecIsCutWithItsSeparator) {
  Path path("\\a\\velmora.dll");
  EXPECT_TRUE(PathRemoveFileSpecA(path.get()));
  EXPECT_EQ(path.text(), "\\a");
}

TEST(Paths, CuttingStopsAtTheRoot) {
  Path path("\\a");
  EXPECT_TRUE(PathRemoveFileSpecA(path.get()));
  EXPECT_EQ(path.text(), "\\");
  EXPECT_FALSE(PathRemoveFileSpecA(path.get()));
  EXPECT_EQ(path.text(), "\\");
}

TEST(Paths, CuttingABareNameLeavesNothing) {
  Path path("velmora");
  EXPECT_TRUE(PathRemoveFileSpecA(path.get()));
  EXPECT_EQ(path.text(), "");
  EXPECT_FALSE(PathRemoveFileSpecA(path.get()));
}

TEST(Paths, NullIsNoPath) {
  EXPECT_EQ(PathFindExtensionA(nullptr), nullptr);
  EXPECT_FALSE(PathAddExtensionA(nullptr, ".dll"));
  EXPECT_EQ(PathFindFileNameA(nullptr), nullptr);
  EXPECT_FALSE(PathRemoveFileSpecA(nullptr));
}

TEST(Paths, NamesCompareWithoutCase) {
  EXPECT_EQ(lstrcmpiA("BIN", "bin"), 0);
  EXPECT_NE(lstrcmpiA("bin", "lib"), 0);
  EXPECT_LT(lstrcmpiA("a", "B"), 0);
  EXPECT_EQ(lstrcmpiA("AZ", "az"), 0);
  EXPECT_EQ(_stricmp("Lib", "lIB"), 0);
  EXPECT_EQ(_stricmp("AZ", "az"), 0);
  EXPECT_NE(_stricmp("@", "`"), 0);
  EXPECT_NE(_stricmp("[", "{"), 0);
  EXPECT_LT(_stricmp("bin", "bins"), 0);
  EXPECT_GT(_stricmp("C", "b"), 0);
}
