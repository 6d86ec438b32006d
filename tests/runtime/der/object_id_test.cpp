#include "runtime/der/object_id.h"

#include <string>

#include "runtime/crypto_fixture.h"
#include "runtime/views.h"

namespace vexa::test {
namespace {

using velmora::Bytes;

struct Pair {
  const char* dotted;
  const char* hex;
};

constexpr Pair kPairs[] = {
    {"0.0", "00"},
    {"0.39", "27"},
    {"1.0", "28"},
    {"1.39", "4f"},
    {"2.0", "50"},
    {"2.39", "77"},
    {"2.40", "78"},
    {"2.47", "7f"},
    {"2.48", "8100"},
    {"2.5.4.127", "55047f"},
    {"2.5.4.128", "55048100"},
    {"2.5.4.16383", "5504ff7f"},
    {"2.5.4.16384", "5504818000"},
    {"1.2.840.113549.1.1.11", "2a864886f70d01010b"},
    {"1.2.18446744073709551615", "2a81ffffffffffffffff7f"},
    {"2.18446744073709551535", "81ffffffffffffffff7f"},
};

class ObjectIdEncoding : public RuntimeTest {};

TEST_F(ObjectIdEncoding, AnArcTakesSevenBitsAByteAndTheFirstTwoShareTheirs) {
  for (const Pair& pair : kPairs) {
    std::string content;
    EXPECT_TRUE(velmora::encodeObjectId(
        pair.dotted, [&content](uint8_t byte) { content += static_cast<char>(byte); }));
    EXPECT_EQ(toHex(content.data(), content.size()), pair.hex) << pair.dotted;
  }
}

TEST_F(ObjectIdEncoding, TheContentLeadsBackToTheText) {
  for (const Pair& pair : kPairs) {
    const ExactBytes content(fromHex(pair.hex));
    EXPECT_TRUE(velmora::isObjectId(viewOf(content))) << pair.hex;
    Bytes text;
    EXPECT_TRUE(velmora::appendObjectIdText(viewOf(content), text)) << pair.hex;
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(text.data()), text.size()), pair.dotted);
  }
}

TEST_F(ObjectIdEncoding, TextThatIsNoIdentifierIsRefused) {
  for (const char* const dotted :
       {"", ".", "1", "1.", ".1", "1..2", "1.2.", "3.1", "0.40", "1.40", "00.1", "1.02", "1.2x",
        "1 .2", "-1.2", "1.2.18446744073709551616", "1.2.99999999999999999999",
        "2.18446744073709551536"}) {
    EXPECT_FALSE(velmora::encodeObjectId(dotted, [](uint8_t) {})) << dotted;
  }
}

TEST_F(ObjectIdEncoding, ContentThatIsNoIdentifierIsRefused) {
  for (const char* const hex : {"", "80", "8001", "2a80", "2a8001", "2a86", "ff",
                                "2a8280808080808080808000", "2a83ffffffffffffffff7f"}) {
    const ExactBytes content(fromHex(hex));
    EXPECT_FALSE(velmora::isObjectId(viewOf(content))) << hex;
    Bytes text;
    EXPECT_FALSE(velmora::appendObjectIdText(viewOf(content), text)) << hex;
  }
}

}  // namespace
}  // namespace vexa::test
