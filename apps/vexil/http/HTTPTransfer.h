#pragma once

#include "apps/vexil/session/RequestSetup.h"
#include "vexil/async/ITransfer.h"
#include "vexil/net/NetRequest.h"

#include <chrono>
#include <functional>
#include <string>

namespace vexil::app {

class CSession;

/// Performs an HTTP request and follows its redirects one by one, because the rules for proxies apply to each
/// URL. Follows to http and https only, from https to https only unless the options allow more, at most
/// CRequestSetup::maxRedirects times.
class CHTTPTransfer final : public ITransfer {
public:
    using Function = std::function<void(CNetRequest& request)>;

    /// \param url        in UTF-8; one without a scheme gets "http://"
    /// \param configure  sets method, source and sink, before the first request
    /// \param check      checks the last response, after its headers are known to be complete
    CHTTPTransfer(CSession& session, const std::string& url, Function configure, Function check);

    void prepare(CNetRequest& request) override;
    /// \throws CCURLError CURLE_UNSUPPORTED_PROTOCOL, CURLE_TOO_MANY_REDIRECTS or CURLE_OPERATION_TIMEDOUT
    ///         for a redirect that is not followed
    void checkResponse(CNetRequest& request) override;
    bool isComplete() const override { return m_isComplete; }

private:
    void checkTarget(CNetRequest& request) const;
    void go(CNetRequest& request);
    std::chrono::steady_clock::duration getElapsed() const;

    CRequestSetup& m_setup;
    const String m_url;
    const Function m_configure;
    const Function m_check;
    const std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    String m_target;  // of the last redirect; "" before
    int m_followed = 0;
    bool m_isComplete = false;
};

/// Runs a transfer once, over a queue of its own.
/// \param showsProgress  whether the user sees how many bytes are transferred
/// \throws the error that has ended it
void runHTTPTransfer(CSession& session, CHTTPTransfer& transfer, bool showsProgress);

}  // namespace vexil::app
