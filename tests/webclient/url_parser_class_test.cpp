#include <gtest/gtest.h>

#include "support/module_fixture.h"
#include "vexa/url_parser.h"

namespace vexa::test {
namespace {

class UrlParserClass : public ModuleTest {
 protected:
  void* parserOf(const char* url) {
    void* const object = create(kUrlParserClassName, IID_IURLParser);
    (void)call<int32_t>(object, 3, url);
    return object;
  }
};

TEST_F(UrlParserClass, MakesANewObjectPerRequest) {
  void* const one = parserOf("http://a:81");
  void* const other = parserOf("http://b");
  EXPECT_NE(one, other);
  EXPECT_EQ(call<int32_t>(one, 4), 81);
  EXPECT_EQ(call<int32_t>(other, 4), 80);
  EXPECT_EQ(call<uint32_t>(one, 2), 0u);
  EXPECT_EQ(call<uint32_t>(other, 2), 0u);
}

TEST_F(UrlParserClass, HasNoOtherInterface) {
  const Guid unknown{1, 2, 3, {}};
  void* object = this;
  EXPECT_EQ(create(kUrlParserClassName, unknown, &object), kNoInterface);
  EXPECT_EQ(object, nullptr);
}

TEST_F(UrlParserClass, MayOutliveTheModule) {
  void* const url = parserOf("https://a.example.com");
  void* const other = parserOf("https://a.example.com");
  stop();
  EXPECT_TRUE(call<bool>(url, 6));
  EXPECT_FALSE(call<bool>(url, 8, other));  // nobody to compare the hosts
  EXPECT_TRUE(call<bool>(url, 10, static_cast<const char*>("https://*.example.com")));
  EXPECT_EQ(call<uint32_t>(url, 2), 0u);
  EXPECT_EQ(call<uint32_t>(other, 2), 0u);
}

}  // namespace
}  // namespace vexa::test
