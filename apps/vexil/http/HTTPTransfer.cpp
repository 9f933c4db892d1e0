#include "apps/vexil/http/HTTPTransfer.h"

#include "apps/vexil/session/Session.h"
#include "apps/vexil/session/Setting.h"
#include "apps/vexil/transfer/ResponseCheck.h"
#include "apps/vexil/transfer/ServerPolicy.h"
#include "apps/vexil/transfer/SingleTransfer.h"
#include "vexil/net/CURLError.h"
#include "vexil/net/URLRedaction.h"

#include <algorithm>
#include <array>
#include <utility>

namespace vexil::app {

namespace {

constexpr int statusSeeOther = 303;
constexpr std::array redirectStatuses = {301, 302, statusSeeOther, 307, 308};

/// Scheme, login and the rest of "SCHEME://LOGIN@HOST...". All "" for a URL of another form.
struct Parts {
    String scheme;
    String login;
    String host;  ///< with its port, unless that is the default port

    explicit Parts(const String& url) {
        const std::size_t colon = url.find("://");
        if (colon == String::npos) {
            return;
        }
        const std::size_t begin = colon + 3;
        const std::size_t end = std::min(url.view().find_first_of(L"/?#", begin), url.length());
        const String authority = url.substr(begin, end - begin);
        const std::size_t at = authority.findLast(L'@');
        scheme = url.substr(0, colon).toLower();
        login = at == String::npos ? String() : authority.substr(0, at);
        host = authority.substr(at == String::npos ? 0 : at + 1).toLower();
        const char* const defaultPort = scheme == "https" ? ":443" : ":80";
        if (host.endsWith(defaultPort)) {
            host = host.substr(0, host.findLast(L':'));
        }
    }

    bool hasSameOrigin(const Parts& other) const {
        return !scheme.isEmpty() && scheme == other.scheme && host == other.host;
    }
};

/// A redirect within an origin keeps the login (as in RFC 9110, 15.4), also if the server sends the whole
/// URL.
String withLoginOf(const String& target, const String& source) {
    const Parts from(source);
    const Parts to(target);
    if (from.login.isEmpty() || !to.login.isEmpty() || !to.hasSameOrigin(from)) {
        return target;
    }
    const std::size_t host = to.scheme.length() + 3;
    return target.substr(0, host) + from.login + "@" + target.substr(host);
}

// Otherwise libcurl guesses a scheme, and the rules for proxies do not apply.
String withScheme(const String& url) {
    const std::size_t end =
        url.view().find_first_not_of(L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+-.");
    return end != String::npos && end > 0 && url.substr(end, 2) == ":/" ? url : "http://" + url;
}

/// The URL to which the last response redirects; "" if it does not redirect.
String findTarget(CNetRequest& request) {
    const bool isRedirect = std::find(redirectStatuses.begin(), redirectStatuses.end(),
                                      request.getResponseCode()) != redirectStatuses.end();
    return isRedirect ? request.getRedirectURL() : String();
}

bool hasRefusedStatus(CNetRequest& request) {
    const int status = request.getResponseCode();
    return request.getResponseCodeDomain() == "http" && (status < 200 || status > 299);
}

/// Tries nothing again. Leaves redirects to the transfer.
class CHTTPPolicy final : public virtual CBase, public IServerPolicy {
public:
    void checkResult(CNetRequest& request) override {
        try {
            request.checkAsyncResult();
            // The status of a URL that begins with "HTTP://" is left to the caller.
            if (hasRefusedStatus(request)) {
                request.throwError(CURLE_HTTP_RETURNED_ERROR, "http", request.getResponseCode(), "");
            }
        } catch (const CCURLError& error) {
            if (!(error.getDomain() == "curl") || error.getCode() != CURLE_HTTP_RETURNED_ERROR ||
                findTarget(request).isEmpty()) {
                throw;
            }
        }
    }
    std::optional<std::chrono::milliseconds> decideRetry(CNetRequest&, const CError&,
                                                         CRetryPolicy::Failures&) override {
        return std::nullopt;
    }
    std::optional<std::chrono::milliseconds> decidePause(CNetRequest&, const CError&,
                                                         CRetryPolicy::Failures&) override {
        return std::nullopt;
    }
    bool mayTryAgain(const CRetryPolicy::Failures&) const override { return false; }
    int64 getRetryCount() const override { return 0; }
};

}  // namespace

CHTTPTransfer::CHTTPTransfer(CSession& session, const std::string& url, Function configure, Function check)
    : m_setup(session.getSetup()), m_url(withScheme(String::fromUTF8(url))),
      m_configure(std::move(configure)), m_check(std::move(check)) {
    refuseUnknownProfile(session.getOptions());
}

void CHTTPTransfer::prepare(CNetRequest& request) {
    if (!m_target.isEmpty()) {
        go(request);
        return;
    }
    request.setURL(m_url);
    m_setup.setUp(request);
    m_configure(request);
    request.setFollowRedirects(false);
}

void CHTTPTransfer::checkResponse(CNetRequest& request) {
    // The cut part may be the URL, or the end of a list of headers that contains more.
    checkResponseIsComplete(request);
    m_target = findTarget(request);
    m_isComplete = m_target.isEmpty();
    if (m_isComplete) {
        m_check(request);
    } else {
        m_target = withLoginOf(m_target, request.getURL());
        checkTarget(request);
    }
}

void CHTTPTransfer::checkTarget(CNetRequest& request) const {
    const auto refuse = [&](CURLcode code, const String& reason) {
        request.throwError(code, "http", request.getResponseCode(),
                           "the server redirects to '" + redactURL(m_target) + "': " + reason);
    };
    const String scheme = Parts(m_target).scheme;
    if (!(scheme == "http") && !(scheme == "https")) {
        refuse(CURLE_UNSUPPORTED_PROTOCOL, "only redirects to http and https are followed");
    }
    if (scheme == "http" && !m_setup.mayLeaveEncryption() && request.getURL().startsWithNoCase("https:")) {
        refuse(CURLE_UNSUPPORTED_PROTOCOL,
               "a redirect from https to http is only followed with --redirect-to-http");
    }
    if (m_setup.isTimeOver(getElapsed())) {
        refuse(CURLE_OPERATION_TIMEDOUT, "the time limit has passed");
    }
    if (m_followed >= CRequestSetup::maxRedirects) {
        refuse(CURLE_TOO_MANY_REDIRECTS,
               String::fromInt(m_followed) + " redirects were followed, which is the limit");
    }
}

void CHTTPTransfer::go(CNetRequest& request) {
    ++m_followed;
    if (request.getResponseCode() == statusSeeOther && request.getHTTPMethod() == "PUT") {
        request.setHTTPMethod("GET");
    }
    request.setURL(m_target);
    m_setup.setUpNextURL(request, getElapsed());
}

std::chrono::steady_clock::duration CHTTPTransfer::getElapsed() const {
    return std::chrono::steady_clock::now() - m_start;
}

void runHTTPTransfer(CSession& session, CHTTPTransfer& transfer, bool showsProgress) {
    CHTTPPolicy policy;
    if (showsProgress) {
        runSingleTransfer(session, policy, transfer);
    } else {
        runQuietTransfer(session, policy, transfer);
    }
}

}  // namespace vexil::app
