#include "vexil/net/RequestSetupCall.h"

#include "vexil/net/NetRequest.h"

namespace vexil {

void callRequestSetup(const P<INetRequestSetup>& setup, CNetRequest& request, const char* place) {
    // The hook may replace itself.
    const P<INetRequestSetup> hook = setup;
    if (!hook) {
        return;
    }
    const String url = request.getURL();
    const String method = request.getHTTPMethod();
    const P<CNetHeaders> headers = request.getCustomHTTPHeaders();
    hook->setUp(request);
    const auto refuse = [place](bool isReplaced, const char* what) {
        if (isReplaced) {
            throw CInvalidArgError(place, String("the set-up must not replace the ") + what);
        }
    };
    refuse(request.getURL() != url, "URL");
    refuse(request.getHTTPMethod() != method, "method");
    refuse(request.getCustomHTTPHeaders() != headers, "header list");
    refuse(!request.usesDefaultReceiveBuffer(), "receive data sink");
}

}  // namespace vexil
