#pragma once

#include "vexil/proxy/UserProxySource.h"

#include <functional>
#include <optional>
#include <string>

namespace vexil {

/// Reads the proxies from environment variables: http_proxy, https_proxy and ftp_proxy, with all_proxy for
/// those of the three that are not set or empty, and no_proxy for the hosts that need no proxy. If the
/// lower-case name is not set at all, the upper-case name is used, except HTTP_PROXY: a web server sets it
/// from a header that anyone can send.
///
/// A no_proxy of "*" means no proxies at all. Any thread, as long as nothing changes the environment.
class CEnvironmentProxySource : public virtual CBase, public IUserProxySource {
public:
    /// Returns the value of a variable; nullopt if it is not set.
    using Lookup = std::function<std::optional<std::string>(const char* name)>;

    explicit CEnvironmentProxySource(Lookup lookup);
    ~CEnvironmentProxySource() override;

    void read(String& proxies, String& directConnectHosts) override;

private:
    String lookUp(const char* lowerCaseName, const char* upperCaseName) const;

    Lookup m_lookup;
};

}  // namespace vexil
