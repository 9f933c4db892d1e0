#pragma once

#include "vexil/proxy/UserProxySource.h"

#include <functional>
#include <optional>
#include <string>

namespace vexil {

/// The proxies that the environment names: http_proxy, https_proxy and ftp_proxy, all_proxy for those of the three
/// that name none, and no_proxy for the hosts that need none. Each in lower or, where that is not set, not even empty,
/// in upper case, but for HTTP_PROXY: a web server sets it from a header that anybody can send.
///
/// A no_proxy of "*" means no proxies at all. Any thread, as long as nobody changes the environment.
class CEnvironmentProxySource : public virtual CBase, public IUserProxySource {
public:
    /// The value of a variable, nothing where it is not set.
    using Lookup = std::function<std::optional<std::string>(const char* name)>;

    explicit CEnvironmentProxySource(Lookup lookup);
    ~CEnvironmentProxySource() override;

    void read(String& proxies, String& directConnectHosts) override;

private:
    String lookUp(const char* lowerCaseName, const char* upperCaseName) const;

    Lookup m_lookup;
};

}  // namespace vexil
