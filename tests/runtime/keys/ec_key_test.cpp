#include "runtime/keys/ec_key.h"

#include <vector>

#include "runtime/crypto_fixture.h"
#include "runtime/der/der_maker.h"
#include "runtime/samples.h"

namespace vexa::test {
namespace {

std::string textOf(velmora::ByteView bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

class EcKey : public CryptoTest {
 protected:
  static std::optional<velmora::EcPrivateNumbers> read(const ExactBytes& der) {
    return velmora::readEcPrivateKey({der.data(), der.size()});
  }
};

const std::string kVersion = fromHex("020101");
const std::string kSecret = element("04", "secret");
const std::string kCurve = element("a0", fromHex("06082a8648ce3d030107"));
const std::string kPoint = element("a1", element("03", std::string("\0point", 6)));

// RFC 5915
TEST_F(EcKey, HasItsPartsAndNoOthers) {
  for (const bool hasCurve : {false, true}) {
    for (const bool hasPoint : {false, true}) {
      const ExactBytes der(
          element("30", kVersion + kSecret + (hasCurve ? kCurve : "") + (hasPoint ? kPoint : "")));
      const auto numbers = read(der);
      ASSERT_TRUE(numbers);
      EXPECT_EQ(textOf(numbers->secret), "secret");
      EXPECT_EQ(textOf(numbers->curve), hasCurve ? fromHex("2a8648ce3d030107") : "");
      EXPECT_EQ(textOf(numbers->point), hasPoint ? "point" : "");
    }
  }
  const std::vector<std::string> refused = {
      "",
      element("31", kVersion + kSecret),
      element("30", ""),
      element("30", kVersion),
      element("30", kSecret),
      element("30", fromHex("020100") + kSecret),
      element("30", fromHex("020102") + kSecret),
      element("30", kVersion + element("04", "")),
      element("30", kVersion + element("03", "secret")),
      element("30", kVersion + kSecret + kPoint + kCurve),
      element("30", kVersion + kSecret + kCurve + kCurve),
      element("30", kVersion + kSecret + kPoint + kPoint),
      element("30", kVersion + kSecret + fromHex("0500")),
      element("30", kVersion + kSecret + element("a0", "")),
      element("30", kVersion + kSecret + element("a0", fromHex("0500"))),
      element("30", kVersion + kSecret + fromHex("a005")),
      element("30", kVersion + kSecret + element("a1", "")),
      element("30", kVersion + kSecret + element("a1", fromHex("0300"))),
      element("30", kVersion + kSecret + element("a1", fromHex("03020102"))),
      element("30", kVersion + kSecret + element("a1", fromHex("04020001"))),
      element("30", kVersion + kSecret + fromHex("a105")),
      element("30", kVersion + kSecret) + fromHex("0500"),
  };
  for (const std::string& der : refused) {
    EXPECT_FALSE(read(ExactBytes(der))) << toHex(der.data(), der.size());
  }
}

TEST_F(EcKey, IsWrittenAsItIsRead) {
  const ExactBytes sample(samples::kEcKey);
  const auto numbers = read(sample);
  ASSERT_TRUE(numbers);
  velmora::Bytes written;
  velmora::writeEcPrivateKey(*velmora::findCurve("P-256"), numbers->secret, numbers->point,
                             written);
  EXPECT_EQ(textOf(written.view()), samples::kEcKey);
}

TEST_F(EcKey, ItsPublicPointIsTheOneBesideIt) {
  const ExactBytes sample(samples::kEcKey);
  const auto numbers = read(sample);
  ASSERT_TRUE(numbers);
  velmora::Bytes point;
  ASSERT_EQ(velmora::appendPoint(*velmora::findCurve("P-256"), numbers->secret, point), kOk);
  EXPECT_EQ(textOf(point.view()), textOf(numbers->point));
}

}  // namespace
}  // namespace vexa::test
