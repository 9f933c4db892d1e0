#include "vexil/net/TransferTimings.h"

#include "vexil/net/NetRequest.h"
#include "vexil/net/NetRequestParts.h"

#include <algorithm>

namespace vexil {

namespace {

CTransferTimings::Microseconds getTime(const CCurlEasy& curl, CURLINFO info) {
    return CTransferTimings::Microseconds(curl.getInt64(info));
}

// Newer libcurl gives -1 for a port that it does not know.
int getPort(const CCurlEasy& curl, CURLINFO info) {
    return std::max<int>(0, curl.getLong(info));
}

int getHTTPVersion(const CCurlEasy& curl) {
    switch (curl.getLong(CURLINFO_HTTP_VERSION)) {
    case CURL_HTTP_VERSION_1_0:
        return 10;
    case CURL_HTTP_VERSION_1_1:
        return 11;
    case CURL_HTTP_VERSION_2_0:
        return 20;
    case CURL_HTTP_VERSION_3:
        return 30;
    default:
        return 0;
    }
}

}  // namespace

CTransferTimings getTimings(const CNetRequest& request) {
    const CCurlEasy& curl = CNetRequestCallbacks::getCurl(request);
    CTransferTimings timings;
    timings.nameLookup = getTime(curl, CURLINFO_NAMELOOKUP_TIME_T);
    timings.connect = getTime(curl, CURLINFO_CONNECT_TIME_T);
    timings.tls = getTime(curl, CURLINFO_APPCONNECT_TIME_T);
    timings.beforeTransfer = getTime(curl, CURLINFO_PRETRANSFER_TIME_T);
    timings.firstByte = getTime(curl, CURLINFO_STARTTRANSFER_TIME_T);
    timings.redirects = getTime(curl, CURLINFO_REDIRECT_TIME_T);
    timings.total = getTime(curl, CURLINFO_TOTAL_TIME_T);
    timings.downloadedBytes = curl.getInt64(CURLINFO_SIZE_DOWNLOAD_T);
    timings.uploadedBytes = curl.getInt64(CURLINFO_SIZE_UPLOAD_T);
    timings.downloadBytesPerSecond = curl.getInt64(CURLINFO_SPEED_DOWNLOAD_T);
    timings.uploadBytesPerSecond = curl.getInt64(CURLINFO_SPEED_UPLOAD_T);
    timings.remoteAddress = curl.getText(CURLINFO_PRIMARY_IP);
    timings.remotePort = getPort(curl, CURLINFO_PRIMARY_PORT);
    timings.localAddress = curl.getText(CURLINFO_LOCAL_IP);
    timings.localPort = getPort(curl, CURLINFO_LOCAL_PORT);
    timings.httpVersion = getHTTPVersion(curl);
    timings.newConnections = curl.getLong(CURLINFO_NUM_CONNECTS);
    timings.isConnectionReused = timings.newConnections == 0 && !timings.remoteAddress.isEmpty();
    return timings;
}

}  // namespace vexil
