#include "apps/vexil/transfer/ResponseCheck.h"

#include "vexil/net/ErrorClassification.h"
#include "vexil/s3/S3Client.h"
#include "zet/ParseNumber.h"

namespace vexil::app {

void checkResponseIsComplete(const CNetRequest& request) {
    if (request.hasDroppedHeaderLine()) {
        throw makeTransientError("A header line of the response could not be read.");
    }
    if (!request.isResponseComplete()) {
        throw makeTransientError("The connection ended within the headers of the response.");
    }
}

void checkResponseLength(const CNetRequest& request, int64 receivedBytes) {
    const String announced = getResponseHeader(request, "content-length");
    if (!announced.isEmpty() && zet::parseInt64(announced, false) != receivedBytes) {
        throw CError("Received " + String::fromInt(receivedBytes) + " of the " + announced +
                     " bytes that the response announced.");
    }
}

void checkContentMD5(const CNetRequest& request, const String& contentMD5) {
    const String expected = CS3Client::getContentMD5(request.getResponseHeaderMap());
    if (!expected.isEmpty() && !(expected == contentMD5)) {
        throw CError("the content is not what the ETag " + getResponseHeader(request, "etag") +
                     " stands for: it was changed on the way or in the store "
                     "(if the ETags of this server only look like an MD5: --no-verify-etag)");
    }
}

String getResponseHeader(const CNetRequest& request, const char* name) {
    const auto& headers = request.getResponseHeaderMap();
    const auto found = headers.find(name);
    return found == headers.end() ? String() : found->second;
}

}  // namespace vexil::app
