#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

namespace vexil {

/// Where the proxy settings of the current user come from.
class VEXIL_API IUserProxySource : public virtual IBase {
public:
    /// Reads the settings as texts in the forms that CProxySettings::addProxiesFromString() and
    /// CProxySettings::addDirectConnectHostsFromString() read; "" for none. What cannot be read is left out.
    virtual void read(String& proxies, String& directConnectHosts) = 0;

    /// The system's own: on Windows what WinHTTP tells, elsewhere the environment.
    static P<IUserProxySource> createForSystem();

protected:
    ~IUserProxySource() override;
};

}  // namespace vexil
