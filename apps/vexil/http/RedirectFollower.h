#pragma once

#include "apps/vexil/session/RequestSetup.h"
#include "vexil/net/NetRequest.h"

#include <chrono>

namespace vexil::app {

/// Performs an HTTP request and follows its redirects one by one, because the rules for proxies apply to each
/// URL. Follows to http and https only, from https to https only unless the options allow more, at most
/// CRequestSetup::maxRedirects times.
class CRedirectFollower {
public:
    /// The set-up must outlive it.
    explicit CRedirectFollower(const CRequestSetup& setup);

    /// \throws errors of CNetRequest::perform()
    /// \throws CCURLError CURLE_UNSUPPORTED_PROTOCOL, CURLE_TOO_MANY_REDIRECTS or CURLE_OPERATION_TIMEDOUT
    ///         for a redirect that is not followed
    void perform(CNetRequest& request);

private:
    /// The URL to which the last response redirects; "" if it does not redirect.
    static String findTarget(CNetRequest& request);
    void check(CNetRequest& request, const String& target) const;
    void go(CNetRequest& request, const String& target);
    std::chrono::steady_clock::duration getElapsed() const;

    const CRequestSetup& m_setup;
    const std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    int m_followed = 0;
};

}  // namespace vexil::app
