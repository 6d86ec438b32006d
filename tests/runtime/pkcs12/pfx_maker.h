#pragma once

#include <string>
#include <string_view>

#include "runtime/crypto_fixture.h"
#include "runtime/der/der_maker.h"
#include "runtime/der/der_reader.h"
#include "runtime/pkcs12/password_cipher.h"

namespace vexa::test {

inline velmora::ByteView viewOfText(std::string_view bytes) {
  return {reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()};
}

// A ContentInfo with these bytes as data.
inline std::string dataInfo(const std::string& content) {
  return element("30", fromHex("06092a864886f70d010701") + element("a0", element("04", content)));
}

// A file over an AuthenticatedSafe: its MAC is right, whatever the content is. SHA-1, one
// iteration.
inline std::string pfxOver(const std::string& safes, const char* password) {
  const std::string salt = "saltsalt";
  String text(password);
  velmora::Bytes code;
  velmora::DerivationBudget budget;
  const velmora::Password secret(text.get());
  EXPECT_EQ(velmora::passwordMac(*velmora::findMacDigest("SHA-1"),
                                 {secret.terminatedUtf16(), viewOfText(salt), 1}, viewOfText(safes),
                                 budget, code),
            kOk);
  const std::string digestInfo =
      element("30", fromHex("300906052b0e03021a0500") +
                        element("04", {reinterpret_cast<const char*>(code.data()), code.size()}));
  return element(
      "30", fromHex("020103") + dataInfo(safes) + element("30", digestInfo + element("04", salt)));
}

// The AuthenticatedSafe of a file.
inline std::string safesOf(std::string_view pfx) {
  velmora::DerReader outer(*velmora::derContent(viewOfText(pfx), velmora::kSequence));
  outer.takeAny();  // the version
  velmora::DerReader info(outer.takeAny()->content);
  info.takeAny();  // the type
  const auto octets = velmora::derContent(info.takeAny()->content, velmora::kOctetString);
  return {reinterpret_cast<const char*>(octets->data()), octets->size()};
}

// The derivations of files opened as long as it lives may take so many rounds.
class RoundLimit {
 public:
  explicit RoundLimit(uint32_t most) { velmora::limitRounds(most); }
  RoundLimit(const RoundLimit&) = delete;
  RoundLimit& operator=(const RoundLimit&) = delete;
  ~RoundLimit() { velmora::limitRounds(velmora::kMaxRounds); }
};

}  // namespace vexa::test
