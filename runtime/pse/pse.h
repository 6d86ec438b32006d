#pragma once

#include "vexa/runtime/object.h"

// The personal security environment: a PKCS#12 file on disk, the same for the whole process. Any
// thread.
namespace vexa::velmora {

// An empty file name: no PSE, that is, one without own certificates. `password` null: none.
// kOutOfMemory leaves everything as it was.
int32_t configurePse(const char* file, const char* password);

// Makes every PSE object read the file again when it is next asked; as long as that fails, it shows
// what it read from this file before, if anything. The result tells whether that would succeed now:
// kAccessDenied when the file cannot be read, kFail for a wrong password or content that is not
// PKCS#12 with a MAC.
int32_t reloadPse();

int32_t makePse(runtime::Pse** out);

}  // namespace vexa::velmora
