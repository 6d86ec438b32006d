#pragma once

#include <atomic>

// How TerminateThread reaches its thread. Inside the sync facility only.
namespace pal::posix {

// `flag` says from now on whether the calling thread was terminated; null: it can not be.
void watchTermination(const std::atomic<bool>* flag);

bool isTerminated();
// Stops the calling thread for good when it was terminated; nothing otherwise.
void stopIfTerminated();
[[noreturn]] void stopForever();

}  // namespace pal::posix
