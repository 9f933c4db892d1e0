#include "apps/vexil/http/RedirectFollower.h"

#include "apps/vexil/transfer/ResponseCheck.h"
#include "vexil/net/CURLError.h"
#include "vexil/net/URLRedaction.h"

#include <algorithm>
#include <array>

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

}  // namespace

CRedirectFollower::CRedirectFollower(const CRequestSetup& setup) : m_setup(setup) {}

void CRedirectFollower::perform(CNetRequest& request) {
    request.setFollowRedirects(false);
    for (;;) {
        try {
            request.perform();
            return;
        } catch (const CCURLError& error) {
            if (!(error.getDomain() == "curl") || error.getCode() != CURLE_HTTP_RETURNED_ERROR ||
                findTarget(request).isEmpty()) {
                throw;
            }
        }
        // The cut part may be the URL, or the end of a list of headers that contains more.
        checkResponseIsComplete(request);
        const String target = withLoginOf(findTarget(request), request.getURL());
        check(request, target);
        go(request, target);
    }
}

String CRedirectFollower::findTarget(CNetRequest& request) {
    const bool isRedirect = std::find(redirectStatuses.begin(), redirectStatuses.end(),
                                      request.getResponseCode()) != redirectStatuses.end();
    return isRedirect ? request.getRedirectURL() : String();
}

void CRedirectFollower::check(CNetRequest& request, const String& target) const {
    const auto refuse = [&](CURLcode code, const String& reason) {
        request.throwError(code, "http", request.getResponseCode(),
                           "the server redirects to '" + redactURL(target) + "': " + reason);
    };
    const String scheme = Parts(target).scheme;
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

void CRedirectFollower::go(CNetRequest& request, const String& target) {
    ++m_followed;
    if (request.getResponseCode() == statusSeeOther && request.getHTTPMethod() == "PUT") {
        request.setHTTPMethod("GET");
    }
    request.setURL(target);
    m_setup.setUpNextURL(request, getElapsed());
}

std::chrono::steady_clock::duration CRedirectFollower::getElapsed() const {
    return std::chrono::steady_clock::now() - m_start;
}

}  // namespace vexil::app
