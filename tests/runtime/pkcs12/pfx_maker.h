#pragma once

#include <string>
#include <string_view>

#include "runtime/crypto_fixture.h"
#include "runtime/der/der_maker.h"
#include "runtime/der/der_reader.h"
#include "runtime/pkcs12/password_mac.h"
#include "runtime/views.h"

namespace vexa::test {

// Identifiers in DER, in hexadecimal digits.
inline constexpr char kKeyBagId[] = "060b2a864886f70d010c0a0101";
inline constexpr char kShroudedKeyBagId[] = "060b2a864886f70d010c0a0102";
inline constexpr char kCertificateBagId[] = "060b2a864886f70d010c0a0103";
inline constexpr char kCrlBagId[] = "060b2a864886f70d010c0a0104";
inline constexpr char kSafeContentsBagId[] = "060b2a864886f70d010c0a0106";
inline constexpr char kX509[] = "060a2a864886f70d01091601";
inline constexpr char kSdsi[] = "060a2a864886f70d01091602";
inline constexpr char kFriendlyName[] = "06092a864886f70d010914";
inline constexpr char kLocalKeyId[] = "06092a864886f70d010915";

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
                                 {secret.terminatedUtf16(), viewOf(salt), 1}, viewOf(safes), budget,
                                 code),
            kOk);
  const std::string digestInfo =
      element("30", fromHex("300906052b0e03021a0500") +
                        element("04", {reinterpret_cast<const char*>(code.data()), code.size()}));
  return element(
      "30", fromHex("020103") + dataInfo(safes) + element("30", digestInfo + element("04", salt)));
}

// The same with one open safe of these bags.
inline std::string pfxOfBags(const std::string& bags) {
  return pfxOver(element("30", dataInfo(element("30", bags))), "secret");
}

inline std::string bagOf(const char* idHex, const std::string& value,
                         const std::string& attributes = {}) {
  return element("30", fromHex(idHex) + element("a0", value) + attributes);
}
// What a bag holds of a certificate.
inline std::string x509Value(std::string_view certificate) {
  return element("30", fromHex(kX509) + element("a0", element("04", std::string(certificate))));
}

// The AuthenticatedSafe of a file.
inline std::string safesOf(std::string_view pfx) {
  velmora::DerReader outer(*velmora::derContent(viewOf(pfx), velmora::kSequence));
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
