#include "runtime/keys/expression.h"

namespace vexa::velmora {
namespace {

constexpr size_t kMaxNumber = 2048;

// The bytes of a number; wiped.
class NumberBytes {
 public:
  explicit NumberBytes(gcry_mpi_t number) {
    isComplete_ = gcry_mpi_print(GCRYMPI_FMT_USG, bytes_, sizeof(bytes_), &length_, number) == 0;
  }
  NumberBytes(const NumberBytes&) = delete;
  NumberBytes& operator=(const NumberBytes&) = delete;
  ~NumberBytes() { wipe(bytes_, sizeof(bytes_)); }

  bool isComplete() const { return isComplete_; }
  ByteView view() const { return {bytes_, length_}; }

 private:
  uint8_t bytes_[kMaxNumber];
  size_t length_ = 0;
  bool isComplete_ = false;
};

}  // namespace

Mpi takeNumber(gcry_sexp_t expression, const char* token) {
  const Sexp found(gcry_sexp_find_token(expression, token, 0));
  return Mpi(found ? gcry_sexp_nth_mpi(found.get(), 1, GCRYMPI_FMT_USG) : nullptr);
}

void writeNumber(gcry_mpi_t number, DerWriter& writer) {
  const NumberBytes bytes(number);
  if (!bytes.isComplete()) {
    writer.fail();
    return;
  }
  writer.unsignedInteger(bytes.view());
}

bool appendNumber(gcry_mpi_t number, size_t length, Bytes& out) {
  const NumberBytes bytes(number);
  if (!bytes.isComplete() || bytes.view().size() > length) {
    return false;
  }
  for (size_t i = bytes.view().size(); i < length; ++i) {
    out.append(uint8_t{0});
  }
  out.append(bytes.view());
  return true;
}

}  // namespace vexa::velmora
