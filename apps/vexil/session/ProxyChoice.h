#pragma once

#include "vexil/net/NetRequest.h"

#include <string>

namespace vexil::app {

/// What `--proxy` names: "system" for what the user's settings say, "none" for no proxy at all, else a proxy: a URL or
/// "host:port".
class CProxyChoice {
public:
    /// \param value  one that has no problem, in UTF-8
    explicit CProxyChoice(const std::string& value) : m_value(String::fromUTF8(value)) {}

    /// Whether one URL may have another proxy than another.
    bool dependsOnURL() const { return m_value == "system"; }

    /// Sets the proxy of a request that has its URL.
    void setUp(CNetRequest& request) const;

    /// Why a value cannot be used, with the value but for a login in it; "" when it can.
    static std::string findProblem(const std::string& value);

private:
    String m_value;
};

}  // namespace vexil::app
