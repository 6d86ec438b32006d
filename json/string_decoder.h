#pragma once

namespace vexa::json {

// Both read a string from behind its opening quote. `end` is the end of the text, behind which at
// least eight zero bytes stand. Inside strings stand printable ASCII, tab, CR, LF, blanks, bytes
// from 0x80 to 0xFD, and a backslash before any ASCII character but CR and LF.

// The closing quote; null when there is none, or something else before it that cannot stand there.
char* findClosingQuote(char* body, const char* end);

// Replaces the string's escape sequences where they stand, puts a zero byte behind the result and
// returns its end; `cursor` moves from behind the opening quote to behind the closing one. Null
// when the string is not closed or holds an escape sequence other than \" \/ \\ \b \f \n \r \t and
// \u with four hexadecimal digits. These become UTF-8, each by itself: a surrogate pair becomes two
// sequences of three bytes.
char* decodeString(char*& cursor);

}  // namespace vexa::json
