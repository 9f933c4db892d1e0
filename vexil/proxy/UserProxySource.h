#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

namespace vexil {

/// Source of the current user's proxy settings.
class VEXIL_API IUserProxySource : public virtual IBase {
public:
    /// Reads the settings as texts for CProxySettings::addProxiesFromString() and
    /// CProxySettings::addDirectConnectHostsFromString(); "" for none. Settings that cannot be read are left
    /// out.
    virtual void read(String& proxies, String& directConnectHosts) = 0;

    /// The source for this system: WinHTTP on Windows, the environment elsewhere.
    static P<IUserProxySource> createForSystem();

protected:
    ~IUserProxySource() override;
};

}  // namespace vexil
