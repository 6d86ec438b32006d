#pragma once

#include <cstdlib>

#include "runtime/heap.h"
#include "vexa/holders.h"

// The runtime's owners.
namespace vexa::velmora {

// One reference to an object of any maker.
template <class T>
using Ref = RuntimeObjectHolder<T>;

// A block of the root heap.
template <class T>
struct HeapBlockPolicy : PointerPolicy<T> {
  static void release(T* block) { freeBlock(block); }
};
template <class T>
using HeapBlock = Holder<HeapBlockPolicy<T>>;

// Zero-filled; empty when memory is short.
template <class T>
HeapBlock<T> makeBlock(uint64_t size = sizeof(T)) {
  return HeapBlock<T>(static_cast<T*>(allocateBlock(size)));
}

// A block of the system's heap, for what lives when the root heap does not, or must not use it.
template <class T>
struct SystemBlockPolicy : PointerPolicy<T> {
  static void release(T* block) { std::free(block); }
};
template <class T>
using SystemBlock = Holder<SystemBlockPolicy<T>>;

// Releases the nodes of a chain, the first one first, and before each what it holds.
template <class Node, class Drop>
void releaseChain(Node* head, Drop drop) {
  while (head != nullptr) {
    const HeapBlock<Node> node(head);
    head = node->next;
    drop(*node);
  }
}

}  // namespace vexa::velmora
