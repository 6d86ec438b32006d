#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "pal/windows_api.h"

namespace vexa::test {

// The bytes of one socket address; any length will do.
using AddressBytes = std::vector<uint8_t>;

// One network adapter.
struct AdapterRow {
  std::string name;
  std::vector<AddressBytes> addresses;
  IF_OPER_STATUS status = IfOperStatusUp;
  DWORD type = IF_TYPE_ETHERNET_CSMACD;
};
using AdapterRows = std::vector<AdapterRow>;

// Stands in for GetAdaptersAddresses: shows the rows that a test sets. One for the process; any
// thread.
class FakeAdapters {
 public:
  struct Call {
    ULONG family;
    ULONG flags;
    bool hasReserved;
    bool hasBuffer;
    ULONG size;  // as given
  };

  static FakeAdapters& instance();
  void reset();

  void show(AdapterRows rows);
  // What the query for the size answers, in place of ERROR_BUFFER_OVERFLOW.
  void answerQuery(ULONG answer);
  // The call with the buffer answers this and leaves the buffer alone.
  void answerFill(ULONG answer);
  // Runs at each query for the size, before it is answered, with the number of that query (from 1).
  // It may call show.
  void onQuery(std::function<void(int number)> hook);

  std::vector<Call> calls() const;
  int queries() const;

  // The function itself.
  ULONG get(const Call& call, IP_ADAPTER_ADDRESSES* block, ULONG* size);

 private:
  ULONG query(ULONG* size);

  mutable std::mutex mutex_;
  AdapterRows rows_;
  std::optional<ULONG> queryAnswer_;
  std::optional<ULONG> fillAnswer_;
  std::function<void(int)> hook_;
  std::vector<Call> calls_;
  int queries_ = 0;
};

}  // namespace vexa::test
