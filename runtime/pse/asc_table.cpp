#include "runtime/pse/asc_table.h"

#include "runtime/counted.h"
#include "runtime/pse/own_records.h"
#include "runtime/pse/pse.h"

namespace vexa::velmora {
namespace {

constexpr uint32_t kContextVersion = 1;

struct ContextObject : Counted<runtime::SecurityContext> {
  static constexpr char kTypeName[] = "SecurityContext";
  static const runtime::SecurityContextTable kTable;

  ContextObject() : Counted(&kTable) {}

  Ref<runtime::Pse> pse;
};

int32_t getPse(runtime::SecurityContext* self, runtime::Pse** pse) {
  if (pse == nullptr) {
    return kNullPointer;
  }
  *pse = Ref<runtime::Pse>::share(static_cast<ContextObject*>(self)->pse.get()).release();
  return kOk;
}

constinit const runtime::SecurityContextTable ContextObject::kTable = {
    .header = CountedHeader<ContextObject>::table(), .GetPse = getPse};

int32_t createContext(const runtime::ContextParameters* parameters,
                      runtime::SecurityContext** out) {
  if (out == nullptr) {
    return kNullPointer;
  }
  *out = nullptr;
  if (parameters == nullptr) {
    return kNullPointer;
  }
  if (parameters->version != kContextVersion) {
    return kInvalidArgument;
  }
  Ref<ContextObject> context(makeOnHeap<ContextObject>());
  if (!context) {
    return kOutOfMemory;
  }
  runtime::Pse* pse = nullptr;
  const int32_t result = makePse(&pse);
  if (failed(result)) {
    return result;
  }
  context->pse.reset(pse);
  *out = context.release();
  return kOk;
}

}  // namespace

constinit const runtime::AscTable ascTable = {.reserved0 = nullptr, .CreateContext = createContext};

constinit const runtime::PseListTable pseListTable = {
    .reserved0 = nullptr, .OwnListRelease = releaseOwnNodes, .OwnRecordRelease = dropOwnRecord};

}  // namespace vexa::velmora
