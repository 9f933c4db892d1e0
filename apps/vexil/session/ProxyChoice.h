#pragma once

#include "vexil/net/NetRequest.h"

#include <string>

namespace vexil::app {

/// The value of `--proxy`: "system" for the user's settings, "none" for no proxy, otherwise a proxy: a URL or
/// "host:port".
class CProxyChoice {
public:
    /// \param value  a value without a problem, in UTF-8
    explicit CProxyChoice(const std::string& value);

    /// Whether different URLs may have different proxies.
    bool dependsOnURL() const { return m_value == "system"; }

    /// Sets the proxy of a request whose URL is set.
    void setUp(CNetRequest& request) const;
    /// The proxy of a URL and why it is used, without its login.
    String explain(const String& url) const;

    /// Why a value cannot be used, with the value but without its login; "" if it can be used.
    static std::string findProblem(const std::string& value);

private:
    String m_value;
};

}  // namespace vexil::app
