#pragma once

#include <cstdlib>
#include <type_traits>

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

// A chain in the making: each node goes behind the last one. `Owner` holds the first.
template <class Owner>
class Chain {
 public:
  using Node = std::remove_pointer_t<typename Owner::Type>;

  void append(Node* node) {
    if (last_ == nullptr) {
      nodes_.reset(node);
    } else {
      last_->next = node;
    }
    last_ = node;
  }
  Node* release() {
    last_ = nullptr;
    return nodes_.release();
  }

 private:
  Owner nodes_;
  Node* last_ = nullptr;
};

}  // namespace vexa::velmora
