#pragma once

#include "vexa/component.h"

namespace vexa {

inline constexpr char kClientMonitorClassName[] = "vexa.clientmonitor";

// {6F0D5C52-3B8E-4E57-A1C9-8D2F4B7E9013}
inline constexpr Guid IID_IClientMonitor{
    0x6F0D5C52, 0x3B8E, 0x4E57, {0xA1, 0xC9, 0x8D, 0x2F, 0x4B, 0x7E, 0x90, 0x13}};

// A list of network adapters as GetAdaptersAddresses returns it, in one block from the process
// heap.
struct AdapterSnapshot;

// Notices network and power changes of the machine; singleton class "vexa.clientmonitor". Call
// Reset first: without a stored snapshot every adapter counts as new. Every operation may be called
// from any thread. The change thread ends by itself with the first change it detects, and at the
// last module_final. Operations return kOk unless said otherwise.
class IClientMonitor : public IComponent {
 public:
  enum Status : uint32_t { kUnchanged = 0, kChanged = 1 };

  // Slot 3. Takes a new snapshot, compares it with the stored one and keeps it. kOutOfMemory: the
  // stored one stays.
  virtual int32_t CheckNetwork() = 0;
  // Slot 4. Takes a new snapshot and sets the status to kUnchanged. kOutOfMemory: there is no
  // stored snapshot any more and the status stays.
  virtual int32_t Reset() = 0;
  // Slot 5.
  virtual uint32_t GetStatus() = 0;
  // Slot 6. `code`: wParam of WM_POWERBROADCAST, which the host forwards. Only 18
  // (PBT_APMRESUMEAUTOMATIC) counts as a change.
  virtual int32_t OnPowerEvent(uint32_t code) = 0;
  // Slot 7. A Windows event that is set on a change and reset by Reset; null for none. Not owned,
  // never closed. Off Windows: an eventfd, its descriptor shifted left by 2, plus 1.
  virtual int32_t SetChangeEvent(void* event) = 0;
  // Slot 8. Starts the thread that checks the network every `seconds` until a change or a stop. A
  // thread that is still running is ended first.
  virtual int32_t StartChangeThread(uint32_t seconds) = 0;
  // Slot 9. Ends the thread and waits for its end, which takes no longer than one check.
  virtual int32_t StopChangeThread() = 0;
  // Slot 10. Destroys the object; bit 0 of `flags` frees its memory too. Only Release calls it.
  virtual void* DeletingDestructor(uint32_t flags) = 0;

  // The monitor's own steps.

  // Slot 11. Sets the status to kChanged when `snapshot` differs from the stored one.
  virtual int32_t CompareNetwork(const AdapterSnapshot* snapshot) = 0;
  // Slot 12. Frees the stored snapshot.
  virtual int32_t FreeSnapshot() = 0;
  // Slot 13. A new snapshot, freed with HeapFree on the process heap; null when the machine gives
  // no list. kInvalidArgument: null out. kOutOfMemory.
  virtual int32_t TakeSnapshot(AdapterSnapshot** snapshot) = 0;
  // Slot 14. Stores the status; sets or resets the host's event.
  virtual int32_t SetStatus(uint32_t status) = 0;
  // Slot 15. The body of the change thread.
  virtual int32_t ChangeThreadMain() = 0;

 protected:
  ~IClientMonitor() = default;
};
template <>
struct InterfaceTraits<IClientMonitor> {
  static constexpr Guid kId = IID_IClientMonitor;
};
template <>
struct ClassTraits<IClientMonitor> {
  static constexpr const char* kName = kClientMonitorClassName;
  static constexpr bool kIsSingleton = true;
};

}  // namespace vexa
