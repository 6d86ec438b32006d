#include <cinttypes>
#include <cstdio>

#include "options.h"
#include "texts.h"
#include "vexa/core.h"
#include "vexa/scrambler.h"

namespace vexahost {
namespace {

// FNV-1a (64 bits): tells outputs apart without showing them.
std::string digest(std::string_view bytes) {
  uint64_t hash = 0xCBF29CE484222325u;
  for (const char c : bytes) {
    hash = (hash ^ static_cast<uint8_t>(c)) * 0x100000001B3u;
  }
  char text[17] = {};
  std::snprintf(text, sizeof(text), "%016" PRIx64, hash);
  return text;
}

struct Cipher {
  uint32_t algorithm;
  uint32_t mode;
  uint32_t keyBits;
};
constexpr Cipher kCiphers[] = {
    {1, 0, 0},  {2, 1, 0},  {4, 1, 0},  {6, 0, 128}, {7, 0, 0},
    {10, 1, 0}, {11, 1, 0}, {12, 0, 0}, {12, 1, 0},  {12, 2, 0},
};

// One cipher over a text: scrambled, not the text itself, and back again.
Json testCipher(const Module& module, const Cipher& cipher) {
  static constexpr std::string_view kPlain = "The quick brown fox jumps over the lazy dog";
  vexa::InterfaceHolder<vexa::IScrambler> scrambler;
  check(module.list<vexa::CoreList>().CreateScramblerEx(cipher.algorithm, cipher.mode,
                                                        cipher.keyBits, scrambler.put()),
        "creating a scrambler");
  const vexa::runtime::ByteBuffer plain = vexa::borrow(kPlain);
  vexa::BufferHolder scrambled(module.tables());
  vexa::BufferHolder back(module.tables());
  const bool isGood = vexa::succeeded(scrambler->Scramble(&plain, scrambled.put())) &&
                      vexa::view(scrambled.get()) != kPlain &&
                      vexa::succeeded(scrambler->Unscramble(scrambled.get(), back.put())) &&
                      vexa::view(back.get()) == kPlain;
  return {{"algorithm", cipher.algorithm},
          {"mode", cipher.mode},
          {"plainBytes", kPlain.size()},
          {"scrambledBytes", vexa::view(scrambled.get()).size()},
          {"digest", digest(vexa::view(scrambled.get()))},
          {"good", isGood}};
}

void print(Output& output, const Json& test) {
  char line[96] = {};
  std::snprintf(line, sizeof(line), "cipher %2u mode %u  %3zu -> %3zu bytes  %s  %s",
                test["algorithm"].get<unsigned>(), test["mode"].get<unsigned>(),
                test["plainBytes"].get<size_t>(), test["scrambledBytes"].get<size_t>(),
                test["digest"].get<std::string>().c_str(),
                test["good"].get<bool>() ? "ok" : "FAILED");
  output.line(line);
}

void selfTest(Options& options) {
  const Module module(options.module);
  Json tests = Json::array();
  for (const Cipher& cipher : kCiphers) {
    tests.push_back(testCipher(module, cipher));
    if (!tests.back()["good"].get<bool>()) {
      options.checkFailed();
    }
  }
  options.output.answer(tests, [&] {
    for (const Json& test : tests) {
      print(options.output, test);
    }
  });
}

}  // namespace

void addScrambleCommand(Command app, Options& options) {
  app.command("scramble", "Self-test of every cipher; shows sizes and digests only")
      .onRun([&options] { selfTest(options); });
}

}  // namespace vexahost
