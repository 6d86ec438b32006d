#pragma once

#include "runtime/der/der_reader.h"
#include "runtime/der/der_writer.h"

// The times of certificates (RFC 5280, 4.1.2.5).
namespace vexa::velmora {

// A library time: UTC, YYYYMMDDThhmmss and a terminator. An empty text: no time.
struct LibraryTimeText {
  char text[16] = {};
};
// From the content of a UTCTime or GeneralizedTime as RFC 5280, 4.1.2.5, has them.
bool readTime(const DerElement& element, LibraryTimeText& out);
bool isLibraryTime(const char* text);
void writeTime(const LibraryTimeText& time, DerWriter& writer);

}  // namespace vexa::velmora
