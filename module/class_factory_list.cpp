#include "module/class_factory_list.h"

#include "base/class_registry.h"
#include "base/list_registry.h"

namespace vexa::module {

constinit const ClassFactoryList kClassFactoryList = {
    .GetModuleInfo = base::GetModuleInfo<kClassFactoryListName>,
    .CreateInstance = base::CreateInstance,
    .SetCreateHook = base::SetCreateHook,
};

}  // namespace vexa::module
