#include "vexil/proxy/WinHTTPProxySourceWindows.h"

namespace vexil {

P<IUserProxySource> IUserProxySource::createForSystem() {
    return new CWinHTTPProxySource;
}

}  // namespace vexil
