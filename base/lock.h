#pragma once

#include "pal/windows_api.h"

namespace vexa::base {

// One Windows critical section; re-entrant for its owning thread.
class CriticalSection {
 public:
  CriticalSection() = default;
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;

  void Initialize() { InitializeCriticalSection(&section_); }
  void Delete() { DeleteCriticalSection(&section_); }
  void Enter() { EnterCriticalSection(&section_); }
  void Leave() { LeaveCriticalSection(&section_); }

 private:
  CRITICAL_SECTION section_;
};

// A lock of static storage: ready before any export can run, deleted when the module goes.
class StaticCriticalSection : public CriticalSection {
 public:
  StaticCriticalSection() { Initialize(); }
  ~StaticCriticalSection() { Delete(); }
};

// Holds a critical section for a scope. Locking twice enters it once.
class ScopedLock {
 public:
  explicit ScopedLock(CriticalSection& section, bool lockNow = true) : section_(section) {
    if (lockNow) {
      Lock();
    }
  }
  ScopedLock(const ScopedLock&) = delete;
  ScopedLock& operator=(const ScopedLock&) = delete;
  ~ScopedLock() { Unlock(); }

  void Lock() {
    if (!locked_) {
      section_.Enter();
      locked_ = true;
    }
  }
  void Unlock() {
    if (locked_) {
      locked_ = false;
      section_.Leave();
    }
  }

 private:
  bool locked_ = false;
  CriticalSection& section_;
};

}  // namespace vexa::base
