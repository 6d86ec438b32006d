#pragma once

#include "base/tables.h"
#include "base/unload_registry.h"

// The static records that bind the module's tables at start and release them at the end. They
// register in the unload registry in the order of their construction.
namespace vexa::base {

// Releases a table that something else bound.
class CUnloadAPI : public ISingleton {
 public:
  template <class Table>
  explicit CUnloadAPI(TableHolder<Table>& holder)
      : CUnloadAPI(&holder.pointer, &Unbound<Table>::table) {}

  int32_t Load() override { return kOk; }
  int32_t Unload(uint32_t pass) override;

 protected:
  ~CUnloadAPI() = default;

  bool isTableBound() const { return *target_ != unbound_; }
  // After a binding that failed, or found nothing.
  void setUnbound() { *target_ = unbound_; }

  const void** target_;  // the global holder of the table

 private:
  CUnloadAPI(const void** target, const void* unbound);

  const void* unbound_;  // the table that fails
};

// Binds a table by name, and releases it.
class CLoadAPI : public CUnloadAPI {
 public:
  // `component` may be null. Both texts must live for ever.
  template <class Table>
  CLoadAPI(const char* component, const char* interfaceName, TableHolder<Table>& holder)
      : CUnloadAPI(holder), component_(component), interfaceName_(interfaceName) {}

  // kOk when bound already. kFail for every answer of GetInterface but 0, positive ones too.
  int32_t Load() override;

 protected:
  ~CLoadAPI() = default;

 private:
  const char* component_;
  const char* interfaceName_;
};

class UnloadRecord final : public CUnloadAPI {
 public:
  using CUnloadAPI::CUnloadAPI;
};

class LoadRecord final : public CLoadAPI {
 public:
  using CLoadAPI::CLoadAPI;
};

// "SEC_PKCS12_1" with its companion table, which is asked for again at every start, nested ones
// too. The companion's failure is returned as it stands.
class CLoadAPI_SEC_PKCS12 final : public CLoadAPI {
 public:
  CLoadAPI_SEC_PKCS12() : CLoadAPI(nullptr, runtime::kPkcs12Name, bound.pkcs12) {}

  int32_t Load() override;
  int32_t Unload(uint32_t pass) override;
};

}  // namespace vexa::base
