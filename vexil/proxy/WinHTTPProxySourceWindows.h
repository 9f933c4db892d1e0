#pragma once

#include "vexil/proxy/UserProxySource.h"

#include <windows.h>
#include <winhttp.h>

namespace vexil {

/// Reads the proxies that the user has set in Windows or, if there are none, those that are set for WinHTTP.
/// Proxy configuration scripts and their automatic detection are ignored. Any thread.
class CWinHTTPProxySource : public virtual CBase, public IUserProxySource {
public:
    /// The system's functions, for tests to replace.
    struct CFunctions {
        decltype(&WinHttpGetIEProxyConfigForCurrentUser) getUserConfig =
            &WinHttpGetIEProxyConfigForCurrentUser;
        decltype(&WinHttpGetDefaultProxyConfiguration) getDefaultConfig =
            &WinHttpGetDefaultProxyConfiguration;
        decltype(&GlobalFree) free = &GlobalFree;
    };

    CWinHTTPProxySource() = default;
    explicit CWinHTTPProxySource(const CFunctions& functions) : m_functions(functions) {}
    ~CWinHTTPProxySource() override;

    void read(String& proxies, String& directConnectHosts) override;

private:
    void readUserConfig(String& proxies, String& directConnectHosts) const;
    void readDefaultConfig(String& proxies, String& directConnectHosts) const;

    CFunctions m_functions;
};

}  // namespace vexil
