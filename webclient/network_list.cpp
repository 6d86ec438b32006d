#include "webclient/network_list.h"

#include "base/list_registry.h"
#include "webclient/cookie_path.h"
#include "webclient/host_rules.h"
#include "webclient/proxy_discovery.h"

namespace vexa::webclient {

constinit const NetworkList kNetworkList = {
    .GetModuleInfo = base::GetModuleInfo<kNetworkListName>,
    .ConvertCookiePath = ConvertCookiePath,
    .GetIEUserSettingProxy = GetIEUserSettingProxy,
    .IsLocalHost = IsLocalHost,
    .MatchesBypassList = MatchesBypassList,
};

}  // namespace vexa::webclient
