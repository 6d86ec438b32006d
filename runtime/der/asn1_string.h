#pragma once

#include "runtime/bytes.h"

// Conversions between UTF-8 and the string types of ASN.1 (X.690, 8.23).
namespace vexa::velmora {

// Appends the UTF-8 of a string of type `tag`; false when the type is not a text or the content
// does not fit it (what was appended is of no use then).
bool appendStringAsUtf8(uint8_t tag, ByteView content, Bytes& out);

// Appends UTF-16, big end first, surrogate pairs included; invalid input becomes U+FFFD.
void appendUtf16FromUtf8(ByteView utf8, Bytes& out);
// The reverse; a lone surrogate becomes U+FFFD, an odd last byte is dropped.
void appendUtf8FromUtf16(ByteView bigEndian, Bytes& out);

}  // namespace vexa::velmora
