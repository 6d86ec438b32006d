#include "base/holders.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "support/bound_fixture.h"
#include "support/fake_certificate.h"

namespace vexa::test {
namespace {

// A release, and what was given to it.
struct Released {
  std::string by;
  const void* what;
  friend bool operator==(const Released&, const Released&) = default;
};
void PrintTo(const Released& release, std::ostream* out) {
  *out << release.by << ' ' << release.what;
}
std::vector<Released> releases;

// The tables' own functions, each of which notes its call and does nothing else.
class Holders : public BoundTest {
 protected:
  Holders() {
    releases.clear();
    spy.root.Free = [](void* block) { note("Free", block); };
    spy.commonTypes.BufferRelease = [](auto* buffer) { note("BufferRelease", buffer); };
    spy.commonTypes.TextRelease = [](char* text) { note("TextRelease", text); };
    spy.commonTypes.KeyRelease = [](auto* key) { note("KeyRelease", key); };
    spy.commonTypes.RsaPrivateKeyRelease = [](auto* key) { note("RsaPrivateKeyRelease", key); };
    spy.pkcs12Types.ParametersRelease = [](auto* value) { note("ParametersRelease", value); };
    spy.pkcs12Types.BagRelease = [](auto* bag) { note("BagRelease", bag); };
    spy.pkcs12Types.BagListRelease = [](auto* head) { note("BagListRelease", head); };
    spy.pse.OwnRecordRelease = [](auto* record) { note("OwnRecordRelease", record); };
    spy.pse.OwnListRelease = [](auto* head) { note("OwnListRelease", head); };
  }

  // One of these goes; then another one is emptied by its first use as an out.
  template <class Holder>
  std::vector<Released> releasesOf() {
    releases.clear();
    auto* const first = reinterpret_cast<typename Holder::Type>(&places_[0]);
    auto* const second = reinterpret_cast<typename Holder::Type>(&places_[1]);
    { const Holder holder(first); }
    Holder holder(second);
    EXPECT_EQ(*holder.put(), nullptr);
    return releases;
  }
  std::vector<Released> both(const char* name) {
    return {{name, &places_[0]}, {name, &places_[1]}};
  }

 private:
  static void note(const char* by, const void* what) { releases.push_back({by, what}); }

  uint64_t places_[2] = {};
};

TEST_F(Holders, GiveBackThroughTheFunctionOfTheirKind) {
  EXPECT_EQ(releasesOf<base::Text>(), both("Free"));
  EXPECT_EQ(releasesOf<base::Buffer>(), both("BufferRelease"));
  EXPECT_EQ(releasesOf<base::CommonText>(), both("TextRelease"));
  EXPECT_EQ(releasesOf<base::Key>(), both("KeyRelease"));
  EXPECT_EQ(releasesOf<base::RsaKey>(), both("RsaPrivateKeyRelease"));
  EXPECT_EQ(releasesOf<base::PfxParameters>(), both("ParametersRelease"));
  EXPECT_EQ(releasesOf<base::SafeBag>(), both("BagRelease"));
  EXPECT_EQ(releasesOf<base::BagList>(), both("BagListRelease"));
  EXPECT_EQ(releasesOf<base::OwnRecord>(), both("OwnRecordRelease"));
  EXPECT_EQ(releasesOf<base::OwnList>(), both("OwnListRelease"));
}

TEST_F(Holders, OfNothingGiveNothingBack) {
  { const base::Text text; }
  { const base::SecretBuffer secret; }
  { const base::OwnList list; }
  EXPECT_TRUE(releases.empty());
}

// --- Secrets ---

std::array<uint8_t, 6> secretBytes;
std::array<uint8_t, 6> bytesAtRelease;
int secretsReleased = 0;

class SecretBuffers : public BoundTest {
 protected:
  SecretBuffers() {
    secretBytes = {1, 2, 3, 4, 5, 6};
    secretsReleased = 0;
    spy.commonTypes.BufferRelease = [](runtime::ByteBuffer* /*buffer*/) {
      bytesAtRelease = secretBytes;
      ++secretsReleased;
    };
  }
};

TEST_F(SecretBuffers, AreWipedBeforeTheyAreReleased) {
  runtime::ByteBuffer buffer{4, secretBytes.data()};
  { const base::SecretBuffer secret(&buffer); }
  EXPECT_EQ(secretsReleased, 1);
  EXPECT_EQ(bytesAtRelease, (std::array<uint8_t, 6>{0, 0, 0, 0, 5, 6})) << "all of it, no more";
}

TEST_F(SecretBuffers, NeedNoBytesToBeReleased) {
  runtime::ByteBuffer buffer{4, nullptr};
  { const base::SecretBuffer secret(&buffer); }
  EXPECT_EQ(secretsReleased, 1);
}

// --- Objects of the runtime ---

using RuntimeObjects = BoundTest;

TEST_F(RuntimeObjects, HaveAReferenceForEachHolder) {
  FakeCertificate certificate;
  {
    auto shared = base::RuntimeRef<runtime::Certificate>::share(certificate);
    EXPECT_EQ(certificate.references, 2u);
    const auto moved = std::move(shared);
    EXPECT_EQ(certificate.references, 2u);
  }
  EXPECT_EQ(certificate.references, 1u);
}

TEST_F(RuntimeObjects, AreLeftAloneWhenTheRuntimeIsGone) {
  FakeCertificate certificate;
  {
    const auto shared = base::RuntimeRef<runtime::Certificate>::share(certificate);
    base::bound = {};
  }
  EXPECT_EQ(certificate.references, 2u) << "whose it was took it along";
}

}  // namespace
}  // namespace vexa::test
