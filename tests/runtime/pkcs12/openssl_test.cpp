#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "runtime/pkcs12/pfx_fixture.h"

// Files that OpenSSL and NSS write and we read, and the reverse.
namespace vexa::test {
namespace {

namespace fs = std::filesystem;

class OpensslTest : public PfxTest {
 protected:
  OpensslTest() {
    const auto* const test = ::testing::UnitTest::GetInstance()->current_test_info();
    folder_ = fs::temp_directory_path() / (std::string("openssl-") + test->name());
    fs::remove_all(folder_);
    fs::create_directory(folder_);
  }
  ~OpensslTest() override { fs::remove_all(folder_); }

  // Runs a shell command in the test's folder; its standard output goes to the file "out".
  int shell(const std::string& command) {
    return std::system(
        ("cd '" + folder_.string() + "' && { " + command + "; } >out 2>err").c_str());
  }
  std::string read(const char* name) {
    std::ostringstream text;
    text << std::ifstream(folder_ / name, std::ios::binary).rdbuf();
    return text.str();
  }
  void write(const char* name, const std::string& content) {
    std::ofstream(folder_ / name, std::ios::binary).write(content.data(), std::ssize(content));
  }

  // A signed certificate on a key of our own.
  OwnedCertificate issue(const char* subject, const runtime::KeyObject* key,
                         const runtime::KeyObject* issuerKey, runtime::Certificate* issuer) {
    OwnedCertificate made;
    EXPECT_EQ(velmora_certificate_create(made.put()), kOk);
    EXPECT_EQ(velmora_certificate_set_subject(made.get(), subject), kOk);
    EXPECT_EQ(velmora_certificate_set_validity(made.get(), "20200101T000000", "20600101T000000"),
              kOk);
    EXPECT_EQ(velmora_certificate_set_public_key(made.get(), &key->publicKey), kOk);
    const bool isCa = issuer == nullptr;
    EXPECT_EQ(velmora_certificate_set_basic_constraints(made.get(), isCa, -1), kOk);
    uint8_t flags[9] = {};
    flags[isCa ? runtime::kKeyCertSign : runtime::kDigitalSignature] = 1;
    EXPECT_EQ(made->table->SetKeyUsage(made.get(), flags, 1), kOk);
    if (!isCa) {
      for (const char* name : {"DNS:jane.example", "DNS:*.jane.example", "IP:192.0.2.1",
                               "IP:2001:db8::1", "email:jane@example.org"}) {
        EXPECT_EQ(velmora_certificate_add_alternative_name(made.get(), name), kOk) << name;
      }
      EXPECT_EQ(velmora_certificate_add_extended_key_usage(made.get(), "serverAuth"), kOk);
    }
    EXPECT_EQ(velmora_certificate_sign(made.get(), issuerKey, issuer), kOk);
    return made;
  }
  std::string encodingOf(const OwnedCertificate& of) {
    return bytesOf(of->table->GetEncoding(of.get()));
  }

  fs::path folder_;
};

TEST_F(OpensslTest, RsaCertificatesOfEverySizeAndDigestAreReadAndChecked) {
  for (const char* options : {"rsa:1024 -sha1", "rsa:2048 -sha256", "rsa:3072 -sha384",
                              "rsa:4096 -sha512", "ec -pkeyopt ec_paramgen_curve:P-256 -sha256",
                              "ec -pkeyopt ec_paramgen_curve:P-384 -sha512",
                              "ec -pkeyopt ec_paramgen_curve:P-521 -sha512"}) {
    ASSERT_EQ(shell(std::string("openssl req -x509 -nodes -subj /CN=x -keyout key -outform DER "
                                "-out der -newkey ") +
                    options),
              0)
        << read("err");
    std::string der = read("der");
    OwnedCertificate good, bad;
    ASSERT_EQ(decode(der, good.put()), kOk) << options;
    EXPECT_EQ(good->table->IsSelfSigned(good.get()), 1) << options;
    der.back() = static_cast<char>(der.back() ^ 1);
    ASSERT_EQ(decode(der, bad.put()), kOk);
    EXPECT_EQ(bad->table->IsSelfSigned(bad.get()), 0) << options;
  }
}

TEST_F(OpensslTest, OurCertificatesVerifyThere) {
  HeldKey rootKey, key;
  ASSERT_EQ(velmora_key_generate_rsa(2048, rootKey.put()), kOk);
  ASSERT_EQ(velmora_key_generate_weak_rsa(1024, kVelmoraShortKey, key.put()), kOk);
  const OwnedCertificate root = issue("CN=Root,O=Örlind", rootKey.get(), rootKey.get(), nullptr);
  const OwnedCertificate leaf =
      issue("CN=Jane+UID=j,O=Örlind", key.get(), rootKey.get(), root.get());
  write("root.der", encodingOf(root));
  write("leaf.der", encodingOf(leaf));
  EXPECT_EQ(shell("openssl x509 -inform DER -in root.der -out root.pem && "
                  "openssl x509 -inform DER -in leaf.der -out leaf.pem && "
                  "openssl verify -x509_strict -no_check_time -auth_level 0 -check_ss_sig "
                  "-purpose sslserver -CAfile root.pem leaf.pem"),
            0)
      << read("err");
  for (const char* check :
       {"-verify_hostname jane.example", "-verify_hostname a.jane.example", "-verify_ip 192.0.2.1",
        "-verify_ip 2001:db8::1", "-verify_email jane@example.org"}) {
    const std::string verify =
        std::string("openssl verify -x509_strict -no_check_time -auth_level 0 ") + check;
    EXPECT_EQ(shell(verify + " -CAfile root.pem leaf.pem"), 0) << check << read("err");
  }
  EXPECT_NE(shell("openssl verify -no_check_time -auth_level 0 -verify_hostname other.example "
                  "-CAfile root.pem leaf.pem"),
            0);
  ASSERT_EQ(shell("openssl x509 -in leaf.pem -noout -subject -nameopt RFC2253,utf8,-esc_msb"), 0);
  EXPECT_EQ(read("out"), "subject=UID=j+CN=Jane,O=Örlind\n");
  ASSERT_EQ(shell("openssl x509 -in leaf.pem -noout -ext keyUsage"), 0);
  EXPECT_NE(read("out").find("critical\n    Digital Signature\n"), std::string::npos)
      << read("out");
}

TEST_F(OpensslTest, OurKeysOnCurvesSignAndVerifyThere) {
  for (const char* curve : {"P-256", "P-384", "P-521"}) {
    HeldKey rootKey, key;
    ASSERT_EQ(velmora_key_generate_ec(curve, rootKey.put()), kOk);
    ASSERT_EQ(velmora_key_generate_ec(curve, key.put()), kOk);
    const OwnedCertificate root = issue("CN=Root", rootKey.get(), rootKey.get(), nullptr);
    const OwnedCertificate leaf = issue("CN=Jane", key.get(), rootKey.get(), root.get());
    EXPECT_EQ(root->table->IsSelfSigned(root.get()), 1);
    write("root.der", encodingOf(root));
    write("leaf.der", encodingOf(leaf));
    write("key", std::string(reinterpret_cast<char*>(key->privateKey.bytes),
                             key->privateKey.bitLength / 8));
    EXPECT_EQ(shell("openssl x509 -inform DER -in root.der -out root.pem && "
                    "openssl x509 -inform DER -in leaf.der -out leaf.pem && "
                    "openssl verify -x509_strict -no_check_time -check_ss_sig -CAfile root.pem "
                    "leaf.pem && openssl ec -inform DER -in key -check -noout && "
                    "openssl ec -inform DER -in key -pubout >a && "
                    "openssl x509 -in leaf.pem -noout -pubkey >b && cmp a b"),
              0)
        << curve << read("err");
  }
}

TEST_F(OpensslTest, OurKeysAreConsistentThere) {
  HeldKey key;
  ASSERT_EQ(velmora_key_generate_weak_rsa(1024, kVelmoraShortKey, key.put()), kOk);
  write("key",
        std::string(reinterpret_cast<char*>(key->privateKey.bytes), key->privateKey.bitLength / 8));
  EXPECT_EQ(shell("openssl rsa -inform DER -in key -check -noout"), 0) << read("err");
}

TEST_F(OpensslTest, OurFilesOpenThereAndInNss) {
  HeldKey key;
  ASSERT_EQ(velmora_key_generate_weak_rsa(1024, kVelmoraShortKey, key.put()), kOk);
  const OwnedCertificate own = issue("CN=Jane", key.get(), key.get(), nullptr);
  const HeldParameters made = parameters();
  runtime::SafeBag* const keyBag = addPrivateKey(made.get(), privateBytes(*key.get()), 1);
  ASSERT_EQ(types.AlgorithmIdCopy(&keyBag->key->algorithm, &key->publicKey.algorithm), kOk);
  runtime::SafeBag* const certificateBag = addBag(made.get(), runtime::kCertificateBag);
  void* copy = nullptr;
  ASSERT_EQ(own->table->header.Duplicate(reinterpret_cast<runtime::Object*>(own.get()), &copy),
            kOk);
  certificateBag->certificate = static_cast<runtime::Certificate*>(copy);
  for (runtime::SafeBag* const bag : {keyBag, certificateBag}) {
    setName(bag, "Jäne");
    ASSERT_EQ(types.BufferFromHex("01", &bag->localKeyId), kOk);
  }

  for (const char* password : {"sécret", ""}) {
    HeldBuffer pfx;
    String secret(password);
    ASSERT_EQ(spy.pkcs12.Encode(made.get(), secret.get(), pfx.put()), kOk);
    write("pfx", bytesOf(pfx.get()));
    ASSERT_EQ(shell(std::string("openssl pkcs12 -legacy -in pfx -nodes -passin 'pass:") + password +
                    "' | tee pem && grep -q 'BEGIN PRIVATE KEY' pem && "
                    "grep -q 'BEGIN CERTIFICATE' pem && grep -q 'localKeyID: 01' pem"),
              0)
        << read("err");
  }
  HeldBuffer pfx;
  String secret("secret");
  ASSERT_EQ(spy.pkcs12.Encode(made.get(), secret.get(), pfx.put()), kOk);
  write("pfx", bytesOf(pfx.get()));
  EXPECT_EQ(shell("command -v pk12util >/dev/null || exit 0; mkdir db && "
                  "certutil -N -d sql:db --empty-password && "
                  "pk12util -i pfx -d sql:db -W secret -K '' && certutil -K -d sql:db"),
            0)
      << read("err");
}

TEST_F(OpensslTest, TheirFilesOpenHere) {
  ASSERT_EQ(shell("openssl req -x509 -nodes -subj /CN=x -keyout key -out cert -newkey rsa:2048"),
            0);
  ASSERT_EQ(shell("openssl rsa -in key -traditional -outform DER -out key.der"), 0);
  for (const char* options :
       {"", "-legacy", "-legacy -descert",
        "-legacy -certpbe PBE-SHA1-RC4-128 -keypbe PBE-SHA1-3DES",
        "-keypbe AES-256-CBC -certpbe NONE", "-macalg sha512", "-iter 100000", "-nomaciter"}) {
    ASSERT_EQ(shell(std::string("openssl pkcs12 -export -in cert -inkey key -out pfx "
                                "-passout 'pass:pässwörd €' ") +
                    options),
              0)
        << read("err");
    const std::string pfx = read("pfx");
    const runtime::ByteBuffer data = bufferOf(pfx);
    String password("pässwörd €");
    HeldBags bags;
    uint8_t verified = 0;
    EXPECT_EQ(spy.pkcs12.Decode(&data, nullptr, password.get(), bags.put(), &verified), kOk)
        << options;
    EXPECT_EQ(verified, 1) << options;
    std::string key;
    for (auto* node = bags.get(); node != nullptr; node = node->next) {
      if (node->bag->type == runtime::kKeyBag) {
        key = bytesOf(&node->bag->key->key);
      }
    }
    EXPECT_EQ(key, read("key.der")) << options;
  }
}

TEST_F(OpensslTest, TheCertificatesOfTheMachineAreRead) {
  std::ifstream bundle("/etc/ssl/certs/ca-certificates.crt");
  std::ostringstream all;
  all << bundle.rdbuf();
  const std::string text = all.str();
  constexpr std::string_view kEnd = "-----END CERTIFICATE-----";
  int count = 0;
  for (size_t at = 0, end; (end = text.find(kEnd, at)) != std::string::npos;
       at = end + kEnd.size()) {
    OwnedCertificate read;
    ASSERT_EQ(decode(text.substr(at, end + kEnd.size() - at), read.put()), kOk)
        << text.substr(at, end - at);
    EXPECT_EQ(read->table->IsSelfSigned(read.get()), 1)
        << this->text(read->table->GetSubject(read.get()));
    ++count;
  }
  RecordProperty("certificates", count);
}

}  // namespace
}  // namespace vexa::test
