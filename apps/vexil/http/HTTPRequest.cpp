#include "apps/vexil/http/HTTPRequest.h"

#include "apps/vexil/console/Progress.h"
#include "apps/vexil/http/RedirectFollower.h"
#include "apps/vexil/session/Session.h"
#include "apps/vexil/session/TransferMonitor.h"
#include "zet/ScopeExit.h"

namespace vexil::app {

namespace {

// Otherwise libcurl guesses a scheme, and the rules for proxies do not apply.
String withScheme(const String& url) {
    const std::size_t end =
        url.view().find_first_not_of(L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+-.");
    return end != String::npos && end > 0 && url.substr(end, 2) == ":/" ? url : "http://" + url;
}

}  // namespace

CNetRequest& prepareHTTPRequest(CSession& session, const std::string& url) {
    CNetRequest& request = session.getRequest();
    request.setURL(withScheme(String::fromUTF8(url)));
    session.getSetup().setUp(request);
    return request;
}

void performWithProgress(CSession& session, CNetRequest& request) {
    CProgress progress(session.getConsole());
    CFileProgress file(progress, "");
    CTransferMonitor& monitor = CTransferMonitor::of(request);
    monitor.setFile(&file);
    const zet::TScopeExit forget([&monitor] { monitor.setFile(nullptr); });
    CRedirectFollower(session.getSetup()).perform(request);
}

}  // namespace vexil::app
