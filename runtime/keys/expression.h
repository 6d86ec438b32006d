#pragma once

#include "runtime/der/der_writer.h"
#include "runtime/keys/libgcrypt.h"

// libgcrypt's S-expressions and numbers.
namespace vexa::velmora {

// libgcrypt's %b takes a length and a pointer.
inline int lengthArgument(ByteView bytes) { return static_cast<int>(bytes.size()); }

// Empty when memory is short or the format does not fit.
template <class... Arguments>
Sexp buildExpression(const char* format, Arguments... arguments) {
  Sexp expression;
  if (gcry_sexp_build(expression.put(), nullptr, format, arguments...) != 0) {
    return {};
  }
  return expression;
}

using Mpi = FunctionHolder<gcry_mpi, gcry_mpi_release>;

// The number behind a token; empty when there is none.
Mpi takeNumber(gcry_sexp_t expression, const char* token);

// Writes a number of at most 2,048 bytes as an INTEGER; a larger one fails the writer.
void writeNumber(gcry_mpi_t number, DerWriter& writer);

// Appends a number with so many bytes in all; false when it is longer.
bool appendNumber(gcry_mpi_t number, size_t length, Bytes& out);

}  // namespace vexa::velmora
