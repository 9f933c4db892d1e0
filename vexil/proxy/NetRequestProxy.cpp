#include "vexil/net/NetRequest.h"
#include "vexil/proxy/ProxySettings.h"

namespace vexil {

void CNetRequest::setProxyForCurrentURLFromUserSettings() {
    setProxy(CProxySettings::getUserSettings()->getProxyForURL(getURL()));
}

}  // namespace vexil
