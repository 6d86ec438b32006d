#include "fake_adapters.h"

#include <cstring>
#include <utility>

#include "pal/replace.h"

namespace vexa::test {
namespace {

// Lays adapters out in one block, as Windows does; without a block it only measures.
class Layout {
 public:
  explicit Layout(void* block) : block_(static_cast<uint8_t*>(block)) {}

  ULONG size() const { return used_; }

  void add(const AdapterRow& row) {
    auto* const adapter = take<IP_ADAPTER_ADDRESSES>(sizeof(IP_ADAPTER_ADDRESSES));
    auto* const name = take<char>(row.name.size() + 1);
    if (adapter != nullptr) {
      std::memset(static_cast<void*>(adapter), 0, sizeof(*adapter));
      adapter->Length = sizeof(*adapter);
      std::memcpy(name, row.name.c_str(), row.name.size() + 1);
      adapter->AdapterName = name;
      adapter->IfType = row.type;
      adapter->OperStatus = row.status;
      if (last_ != nullptr) {
        last_->Next = adapter;
      }
      last_ = adapter;
    }
    lastAddress_ = nullptr;
    for (const AddressBytes& address : row.addresses) {
      addAddress(address);
    }
  }

 private:
  void addAddress(const AddressBytes& bytes) {
    auto* const record = take<IP_ADAPTER_UNICAST_ADDRESS>(sizeof(IP_ADAPTER_UNICAST_ADDRESS));
    auto* const socketAddress = take<uint8_t>(bytes.size());
    if (record == nullptr) {
      return;
    }
    std::memset(static_cast<void*>(record), 0, sizeof(*record));
    record->Length = sizeof(*record);
    if (!bytes.empty()) {
      std::memcpy(socketAddress, bytes.data(), bytes.size());
    }
    record->Address.lpSockaddr = reinterpret_cast<LPSOCKADDR>(socketAddress);
    record->Address.iSockaddrLength = static_cast<INT>(bytes.size());
    if (lastAddress_ != nullptr) {
      lastAddress_->Next = record;
    } else {
      last_->FirstUnicastAddress = record;
    }
    lastAddress_ = record;
  }

  template <class T>
  T* take(size_t size) {
    constexpr ULONG kAlignment = 8;
    uint8_t* const at = block_ == nullptr ? nullptr : block_ + used_;
    used_ += (static_cast<ULONG>(size) + kAlignment - 1) / kAlignment * kAlignment;
    return reinterpret_cast<T*>(at);
  }

  uint8_t* block_;
  ULONG used_ = 0;
  IP_ADAPTER_ADDRESSES* last_ = nullptr;
  IP_ADAPTER_UNICAST_ADDRESS* lastAddress_ = nullptr;
};

ULONG layOut(const AdapterRows& rows, void* block) {
  Layout layout(block);
  for (const AdapterRow& row : rows) {
    layout.add(row);
  }
  return layout.size();
}

}  // namespace

FakeAdapters& FakeAdapters::instance() {
  static FakeAdapters adapters;
  return adapters;
}

void FakeAdapters::reset() {
  const std::lock_guard lock(mutex_);
  rows_.clear();
  queryAnswer_.reset();
  fillAnswer_.reset();
  hook_ = nullptr;
  calls_.clear();
  queries_ = 0;
}

void FakeAdapters::show(AdapterRows rows) {
  const std::lock_guard lock(mutex_);
  rows_ = std::move(rows);
}

void FakeAdapters::answerQuery(ULONG answer) {
  const std::lock_guard lock(mutex_);
  queryAnswer_ = answer;
}

void FakeAdapters::answerFill(ULONG answer) {
  const std::lock_guard lock(mutex_);
  fillAnswer_ = answer;
}

void FakeAdapters::onQuery(std::function<void(int)> hook) {
  const std::lock_guard lock(mutex_);
  hook_ = std::move(hook);
}

std::vector<FakeAdapters::Call> FakeAdapters::calls() const {
  const std::lock_guard lock(mutex_);
  return calls_;
}

int FakeAdapters::queries() const {
  const std::lock_guard lock(mutex_);
  return queries_;
}

ULONG FakeAdapters::get(const Call& call, IP_ADAPTER_ADDRESSES* block, ULONG* size) {
  {
    const std::lock_guard lock(mutex_);
    calls_.push_back(call);
  }
  if (block == nullptr) {
    return query(size);
  }
  const std::lock_guard lock(mutex_);
  if (fillAnswer_) {
    return *fillAnswer_;
  }
  if (const ULONG needed = layOut(rows_, nullptr); *size < needed) {
    *size = needed;
    return ERROR_BUFFER_OVERFLOW;
  }
  layOut(rows_, block);
  return NO_ERROR;
}

ULONG FakeAdapters::query(ULONG* size) {
  std::function<void(int)> hook;
  int number = 0;
  {
    const std::lock_guard lock(mutex_);
    hook = hook_;
    number = ++queries_;
  }
  if (hook) {
    hook(number);
  }
  const std::lock_guard lock(mutex_);
  if (queryAnswer_) {
    return *queryAnswer_;
  }
  *size = layOut(rows_, nullptr);
  return rows_.empty() ? ULONG{ERROR_NO_DATA} : ULONG{ERROR_BUFFER_OVERFLOW};
}

}  // namespace vexa::test

PAL_REPLACE(ULONG, GetAdaptersAddresses,
            (ULONG family, ULONG flags, PVOID reserved, PIP_ADAPTER_ADDRESSES adapters,
             PULONG size)) {
  return vexa::test::FakeAdapters::instance().get(
      {family, flags, reserved != nullptr, adapters != nullptr, *size}, adapters, size);
}
