#pragma once

#include "vexa/runtime/certificate.h"
#include "vexa/runtime/records.h"

namespace vexa::test {

// Real keys and certificates of the reference runtime, made once per program outside every spy's
// count. A root "CN=Root,O=Orlind", an authority "CN=Authority,O=Orlind" under it, and Jane
// ("CN=Jane,O=Orlind") under that.
struct SampleCertificates {
  runtime::KeyObject* janeKey = nullptr;
  runtime::Certificate* jane = nullptr;
  runtime::Certificate* authority = nullptr;
  runtime::Certificate* root = nullptr;

  static const SampleCertificates& instance();
};

// The same certificate decoded anew: equal content, another object, one reference for the caller.
runtime::Certificate* decodeAgain(runtime::Certificate* certificate);

}  // namespace vexa::test
