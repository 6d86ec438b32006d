#include <gtest/gtest.h>

#include "support/module_fixture.h"
#include "url_parser_fixture.h"
#include "vexa/url_parser.h"

namespace vexa::test {
namespace {

class UrlParserClass : public ModuleTest {
 protected:
  void* make() { return create(kUrlParserClassName, IID_IURLParser); }
};

TEST_F(UrlParserClass, MakesANewObjectPerRequest) {
  RawUrlParser one(make());
  RawUrlParser other(make());
  EXPECT_NE(one.get(), other.get());
  EXPECT_EQ(one.parse("http://a:81"), kOk);
  EXPECT_EQ(other.parse("http://b"), kOk);
  EXPECT_EQ(one.getPort(), 81);
  EXPECT_EQ(other.getPort(), 80);
}

TEST_F(UrlParserClass, HasNoOtherInterface) {
  const Guid unknown{1, 2, 3, {}};
  void* object = this;
  EXPECT_EQ(create(kUrlParserClassName, unknown, &object), kNoInterface);
  EXPECT_EQ(object, nullptr);
}

TEST_F(UrlParserClass, MayOutliveTheModule) {
  RawUrlParser url(make());
  RawUrlParser other(make());
  EXPECT_EQ(url.parse("https://a.example.com"), kOk);
  EXPECT_EQ(other.parse("https://a.example.com"), kOk);
  stop();
  EXPECT_TRUE(url.isValid());
  EXPECT_FALSE(url.cmp(other.get()));  // nobody to compare the hosts
  EXPECT_TRUE(url.patternMatch("https://*.example.com"));
}

}  // namespace
}  // namespace vexa::test
