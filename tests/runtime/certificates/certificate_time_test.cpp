#include "runtime/certificates/certificate_time.h"

#include <cstring>

#include "runtime/crypto_fixture.h"
#include "runtime/views.h"

namespace vexa::test {
namespace {

struct TimeCase {
  uint8_t tag;
  const char* content;
  const char* text;  // null: refused
};

TEST(CertificateTime, BothTypesAreRead) {
  using velmora::kGeneralizedTime;
  using velmora::kUtcTime;
  for (const TimeCase& each :
       {TimeCase{kUtcTime, "491231235959Z", "20491231T235959"},
        TimeCase{kUtcTime, "500101000000Z", "19500101T000000"},
        TimeCase{kUtcTime, "000229010203Z", "20000229T010203"},
        TimeCase{kUtcTime, "9912312359Z", "19991231T235900"},  // without seconds
        TimeCase{kUtcTime, "4912312359Z", "20491231T235900"},
        TimeCase{kGeneralizedTime, "20500101000000Z", "20500101T000000"},
        TimeCase{kGeneralizedTime, "19491231235959Z", "19491231T235959"},
        TimeCase{kUtcTime, "", nullptr},
        TimeCase{kUtcTime, "Z", nullptr},
        TimeCase{kUtcTime, "4912312359590", nullptr},
        TimeCase{kUtcTime, "49123123595Z", nullptr},
        TimeCase{kUtcTime, "20500101000000Z", nullptr},
        TimeCase{kUtcTime, "4x1231235959Z", nullptr},
        TimeCase{kUtcTime, "491331235959Z", nullptr},
        TimeCase{kUtcTime, "490031235959Z", nullptr},
        TimeCase{kUtcTime, "491200235959Z", nullptr},
        TimeCase{kUtcTime, "491232235959Z", nullptr},
        TimeCase{kUtcTime, "490230235959Z", nullptr},  // no day of the calendar
        TimeCase{kUtcTime, "491231245959Z", nullptr},
        TimeCase{kUtcTime, "491231235960Z", nullptr},
        TimeCase{kUtcTime, "491231236059Z", nullptr},
        TimeCase{kUtcTime, "491231235961Z", nullptr},
        TimeCase{kGeneralizedTime, "491231235959Z", nullptr},
        TimeCase{kGeneralizedTime, "205001010000Z", nullptr},
        TimeCase{0x0C, "491231235959Z", nullptr}}) {
    velmora::LibraryTimeText time;
    const velmora::DerElement element{each.tag, viewOf(each.content), {}};
    EXPECT_EQ(velmora::readTime(element, time), each.text != nullptr) << each.content;
    EXPECT_STREQ(time.text, each.text != nullptr ? each.text : "") << each.content;
  }
}

// RFC 5280, 4.1.2.5: UTCTime through 2049.
TEST(CertificateTime, TheShortTypeIsWrittenFrom1950To2049) {
  struct Case {
    const char* text;
    uint8_t tag;
    const char* content;
  };
  using velmora::kGeneralizedTime;
  using velmora::kUtcTime;
  for (const Case& each : {Case{"19400101T010203", kGeneralizedTime, "19400101010203Z"},
                           Case{"19491231T235959", kGeneralizedTime, "19491231235959Z"},
                           Case{"19500101T000000", kUtcTime, "500101000000Z"},
                           Case{"19991231T235959", kUtcTime, "991231235959Z"},
                           Case{"20491231T235959", kUtcTime, "491231235959Z"},
                           Case{"20500101T000000", kGeneralizedTime, "20500101000000Z"}}) {
    velmora::LibraryTimeText time;
    std::strcpy(time.text, each.text);
    velmora::Bytes out;
    velmora::DerWriter writer(out);
    velmora::writeTime(time, writer);
    velmora::DerReader reader(out.view());
    const auto written = reader.take(each.tag);
    ASSERT_TRUE(written) << each.text;
    EXPECT_TRUE(reader.atEnd());
    EXPECT_EQ(std::string_view(reinterpret_cast<const char*>(written->content.data()),
                               written->content.size()),
              each.content);
  }
}

}  // namespace
}  // namespace vexa::test
