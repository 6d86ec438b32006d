#pragma once

// Tests of the binary border call operations by their number.
namespace vexa::test {

// Entry n of a table of function pointers: tableEntry<int32_t(uint64_t, void**)>(list, 5).
template <class Function>
Function* tableEntry(const void* table, int n) {
  return reinterpret_cast<Function*>(static_cast<void* const*>(table)[n]);
}

// Operation n of an object, whose first word points to its table. The operation takes the object
// first: slot<uint32_t(void*)>(object, 2)(object).
template <class Function>
Function* slot(void* object, int n) {
  return tableEntry<Function>(*static_cast<const void* const*>(object), n);
}

// The same, called at once: call<uint32_t>(object, 2) is Release. The arguments must have the types
// that the operation declares.
template <class Result, class... Arguments>
Result call(void* object, int n, Arguments... arguments) {
  return slot<Result(void*, Arguments...)>(object, n)(object, arguments...);
}

}  // namespace vexa::test
