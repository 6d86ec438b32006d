#include "runtime/thread_cache.h"

#include <cstdlib>
#include <mutex>
#include <new>

#include "runtime/lock.h"

namespace vexa::velmora {
namespace {

Lock allLock;
ThreadCache* allCaches = nullptr;
bool closed = false;
std::atomic<int64_t> liveElsewhere{0};  // counted by threads that have ended or have no cache

}  // namespace

ThreadCache* ThreadCache::make() {
  if (ThreadCache* const own = current()) {
    return own;
  }
  const std::lock_guard guard(allLock);
  if (closed || thread_slot::get() == thread_slot::kEnded) {
    return nullptr;
  }
  void* const room = std::calloc(1, sizeof(ThreadCache));
  if (room == nullptr || !thread_slot::set(room, threadEnds)) {
    std::free(room);
    return nullptr;
  }
  auto* const made = new (room) ThreadCache();
  made->linkLocked();
  return made;
}

void ThreadCache::giveBack(List& list, uint64_t count) {
  for (; count != 0; --count) {
    Header* const block = list.first;
    list.first = block->next();
    --list.count;
    std::free(block);
  }
}

void ThreadCache::giveBackAll() {
  for (List& list : lists_) {
    giveBack(list, list.count);
  }
}

void ThreadCache::threadEnds(void* cache) {
  thread_slot::forget();
  auto* const own = static_cast<ThreadCache*>(cache);
  own->giveBackAll();
  {
    const std::lock_guard guard(allLock);
    countElsewhere(own->live_.load(std::memory_order_relaxed));
    own->unlinkLocked();
  }
  std::free(own);
}

void ThreadCache::countElsewhere(int64_t change) {
  liveElsewhere.fetch_add(change, std::memory_order_relaxed);
}

int64_t ThreadCache::allLive() {
  const std::lock_guard guard(allLock);
  int64_t sum = liveElsewhere.load(std::memory_order_relaxed);
  for (const ThreadCache* cache = allCaches; cache != nullptr; cache = cache->next_) {
    sum += cache->live_.load(std::memory_order_relaxed);
  }
  return sum;
}

uint64_t ThreadCache::allKept() {
  const std::lock_guard guard(allLock);
  uint64_t sum = 0;
  for (const ThreadCache* cache = allCaches; cache != nullptr; cache = cache->next_) {
    for (const List& list : cache->lists_) {
      sum += list.count;
    }
  }
  return sum;
}

// Without the lock: no other thread is left in here, and one that was ended by force may hold it.
void ThreadCache::closeAll() {
  closed = true;
  while (allCaches != nullptr) {
    ThreadCache* const cache = allCaches;
    cache->giveBackAll();
    countElsewhere(cache->live_.load(std::memory_order_relaxed));
    cache->unlinkLocked();
    std::free(cache);
  }
  thread_slot::close();
}

void ThreadCache::linkLocked() {
  next_ = allCaches;
  if (next_ != nullptr) {
    next_->previous_ = this;
  }
  allCaches = this;
}

void ThreadCache::unlinkLocked() {
  (previous_ != nullptr ? previous_->next_ : allCaches) = next_;
  if (next_ != nullptr) {
    next_->previous_ = previous_;
  }
}

}  // namespace vexa::velmora
