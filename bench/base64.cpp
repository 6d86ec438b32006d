#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "loaded_module.h"
#include "vexa/core.h"

// 1 MiB to base64 in lines of 64 characters and back, through the core list, beside OpenSSL, which
// ends its lines with one byte instead of two. Both hand out a new block. Rates count plain bytes.
namespace {

using vexa::bench::loadedModule;
using vexa::runtime::ByteBuffer;

constexpr size_t kPlain = 1 << 20;
constexpr size_t kLine = 48;

// Any bytes will do.
std::string plainBytes() {
  std::string bytes(kPlain, '\0');
  uint32_t state = 1;
  for (char& byte : bytes) {
    state = state * 1664525 + 1013904223;
    byte = static_cast<char>(state >> 24);
  }
  return bytes;
}

std::string inLines(std::string_view lineEnd) {
  const std::string plain = plainBytes();
  std::string text;
  for (size_t at = 0; at < plain.size(); at += kLine) {
    uint8_t line[2 * kLine];
    const size_t count = std::min(kLine, plain.size() - at);
    const auto* const from = reinterpret_cast<const uint8_t*>(plain.data()) + at;
    const int written = EVP_EncodeBlock(line, from, static_cast<int>(count));
    text.append(reinterpret_cast<const char*>(line), static_cast<size_t>(written)).append(lineEnd);
  }
  return text;
}

void countPlain(benchmark::State& state) {
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kPlain));
}

using Code = int32_t (*)(const ByteBuffer* in, ByteBuffer** out);

void convert(benchmark::State& state, Code code, std::string text) {
  const ByteBuffer in{text.size(), reinterpret_cast<uint8_t*>(text.data())};
  for (auto _ : state) {
    auto out = vexa::bench::buffer();
    if (code(&in, out.put()) != vexa::kOk) {
      std::abort();
    }
    benchmark::DoNotOptimize(out->data);
  }
  countPlain(state);
}

const vexa::CoreList& core() { return loadedModule().list<vexa::CoreList>(); }

void encode(benchmark::State& state) { convert(state, core().EncodeBase64, plainBytes()); }
void decode(benchmark::State& state) { convert(state, core().DecodeBase64, inLines("\r\n")); }

using Context = vexa::FunctionHolder<EVP_ENCODE_CTX, EVP_ENCODE_CTX_free>;

void encodeOpenssl(benchmark::State& state) {
  const std::string plain = plainBytes();
  for (auto _ : state) {
    const auto out = std::make_unique_for_overwrite<uint8_t[]>((kPlain / kLine + 1) * 66);
    const Context context(EVP_ENCODE_CTX_new());
    int written = 0;
    EVP_EncodeInit(context.get());
    EVP_EncodeUpdate(context.get(), out.get(), &written,
                     reinterpret_cast<const uint8_t*>(plain.data()), static_cast<int>(kPlain));
    EVP_EncodeFinal(context.get(), out.get() + written, &written);
    benchmark::DoNotOptimize(out.get());
  }
  countPlain(state);
}

void decodeOpenssl(benchmark::State& state) {
  const std::string text = inLines("\n");
  for (auto _ : state) {
    const auto out = std::make_unique_for_overwrite<uint8_t[]>(text.size());
    const Context context(EVP_ENCODE_CTX_new());
    int written = 0;
    EVP_DecodeInit(context.get());
    if (EVP_DecodeUpdate(context.get(), out.get(), &written,
                         reinterpret_cast<const uint8_t*>(text.data()),
                         static_cast<int>(text.size())) < 0) {
      std::abort();
    }
    benchmark::DoNotOptimize(out.get());
  }
  countPlain(state);
}

BENCHMARK(encode)->Name("base64/encode/vexabase");
BENCHMARK(encodeOpenssl)->Name("base64/encode/openssl");
BENCHMARK(decode)->Name("base64/decode/vexabase");
BENCHMARK(decodeOpenssl)->Name("base64/decode/openssl");

}  // namespace
