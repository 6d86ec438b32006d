#pragma once

#include <cstdint>

// Result codes of the framework: signed 32-bit values in the HRESULT convention. Negative means
// failure; zero and positive values are successes.
namespace vexa {

constexpr int32_t resultFrom(uint32_t bits) { return static_cast<int32_t>(bits); }

constexpr int32_t kOk = 0;
// Nothing done, or more needed: a key that is absent, a request still incomplete.
constexpr int32_t kFalse = 1;
constexpr int32_t kMoreNeeded = 1;

constexpr int32_t kNotImplemented = resultFrom(0x80004001u);
constexpr int32_t kNoInterface = resultFrom(0x80004002u);
constexpr int32_t kNullPointer = resultFrom(0x80004003u);
constexpr int32_t kFail = resultFrom(0x80004005u);
constexpr int32_t kAccessDenied = resultFrom(0x80070005u);
constexpr int32_t kOutOfMemory = resultFrom(0x8007000Eu);
constexpr int32_t kInvalidArgument = resultFrom(0x80070057u);

// GetModuleInterface: a null list name or out pointer; an unknown list or another host's name.
constexpr int32_t kNullListArgument = resultFrom(0xA0000002u);
constexpr int32_t kUnknownList = resultFrom(0xA0000200u);

// Scrambler: a key length outside 1 to 16384 bits, or a missing cipher argument.
constexpr int32_t kBadKeyLength = resultFrom(0xA010000Bu);

// AllocBuffer and its relatives keep a failure code of their own.
constexpr int32_t kBufferFail = resultFrom(0xFFFFFFFFu);

// The name of a code above, for messages; "another code" for any other.
constexpr const char* resultName(int32_t result) {
  switch (result) {
    case kOk:
      return "kOk";
    case kFalse:
      return "kFalse";
    case kNotImplemented:
      return "kNotImplemented";
    case kNoInterface:
      return "kNoInterface";
    case kNullPointer:
      return "kNullPointer";
    case kFail:
      return "kFail";
    case kAccessDenied:
      return "kAccessDenied";
    case kOutOfMemory:
      return "kOutOfMemory";
    case kInvalidArgument:
      return "kInvalidArgument";
    case kNullListArgument:
      return "kNullListArgument";
    case kUnknownList:
      return "kUnknownList";
    case kBadKeyLength:
      return "kBadKeyLength";
    case kBufferFail:
      return "kBufferFail";
    default:
      return "another code";
  }
}

constexpr bool failed(int32_t result) { return result < 0; }
constexpr bool succeeded(int32_t result) { return result >= 0; }

}  // namespace vexa
