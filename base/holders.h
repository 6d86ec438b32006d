#pragma once

#include "base/heap.h"
#include "base/tables.h"
#include "base/wipe.h"
#include "vexa/holders.h"

// The module's owners of what the runtime hands out. All of them release through the bound tables,
// which do nothing once they are unbound.
namespace vexa::base {

// One reference to an object of the module.
template <class Interface>
using ComPtr = InterfaceHolder<Interface>;

// One reference to an object of the runtime. When the runtime is gone its objects are, too.
template <class T>
struct BoundObjectPolicy : RuntimeObjectPolicy<T> {
  static void release(T* object) {
    if (isBound()) {
      RuntimeObjectPolicy<T>::release(object);
    }
  }
};
template <class T>
using RuntimeRef = Holder<BoundObjectPolicy<T>>;

using Text = RootBlock<char>;
using Buffer = Holder<BufferPolicy<BoundRuntime>>;
// A buffer whose bytes are wiped when it goes.
struct SecretBufferPolicy : BufferPolicy<BoundRuntime> {
  static void release(runtime::ByteBuffer* buffer) {
    if (buffer->data != nullptr) {
      wipe(buffer->data, buffer->length);
    }
    BufferPolicy().release(buffer);
  }
};
using SecretBuffer = Holder<SecretBufferPolicy>;
using Key = Holder<KeyPolicy<BoundRuntime>>;
using RsaKey = Holder<RsaPrivateKeyPolicy<BoundRuntime>>;
// A text that TextDuplicate of SEC_COMMONTYPES_1 made.
using CommonText = Holder<TextPolicy<BoundRuntime>>;
static_assert(sizeof(Text) == sizeof(char*));

// Blocks of the process heap.
template <class T>
struct ProcessBlockPolicy : PointerPolicy<T> {
  static void release(T* block) { processFree(block); }
};
template <class T>
using ProcessBlock = Holder<ProcessBlockPolicy<T>>;

struct PfxParametersPolicy : PointerPolicy<runtime::PfxParameters> {
  static void release(runtime::PfxParameters* parameters) {
    bound.pkcs12Types->ParametersRelease(parameters);
  }
};
struct SafeBagPolicy : PointerPolicy<runtime::SafeBag> {
  static void release(runtime::SafeBag* bag) { bound.pkcs12Types->BagRelease(bag); }
};
struct BagListPolicy : PointerPolicy<runtime::BagNode> {
  static void release(runtime::BagNode* head) { bound.pkcs12Types->BagListRelease(head); }
};
struct OwnRecordPolicy : PointerPolicy<runtime::OwnCertificateRecord> {
  static void release(runtime::OwnCertificateRecord* record) {
    bound.pse->OwnRecordRelease(record);
  }
};
struct OwnListPolicy : PointerPolicy<runtime::OwnCertificateList> {
  static void release(runtime::OwnCertificateList* head) { bound.pse->OwnListRelease(head); }
};
using PfxParameters = Holder<PfxParametersPolicy>;
using SafeBag = Holder<SafeBagPolicy>;
using BagList = Holder<BagListPolicy>;
using OwnRecord = Holder<OwnRecordPolicy>;
using OwnList = Holder<OwnListPolicy>;

}  // namespace vexa::base
