#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

#include <chrono>

namespace vexil {

class CNetRequest;

/// How a transfer went: times, bytes, addresses and the connection. Everything is 0, "" or false if libcurl
/// does not know it.
///
/// Each of the first five times includes those before it. TLS that is not used has the time 0. If redirects
/// are followed, the times of all requests are added. libcurl measures in microseconds.
///
/// Thread safety: a plain value.
struct CTransferTimings {
    /// The unit of all times.
    using Microseconds = std::chrono::microseconds;

    Microseconds nameLookup{0};      ///< until the host name was resolved (CURLINFO_NAMELOOKUP_TIME_T)
    Microseconds connect{0};         ///< until the connection was made (CURLINFO_CONNECT_TIME_T)
    Microseconds tls{0};             ///< until the TLS handshake ended (CURLINFO_APPCONNECT_TIME_T)
    Microseconds beforeTransfer{0};  ///< until the transfer could begin (CURLINFO_PRETRANSFER_TIME_T)
    Microseconds firstByte{0};       ///< until the first byte of the response (CURLINFO_STARTTRANSFER_TIME_T)
    Microseconds redirects{0};       ///< of all redirects before the last request (CURLINFO_REDIRECT_TIME_T)
    Microseconds total{0};           ///< of the whole transfer with its redirects (CURLINFO_TOTAL_TIME_T)

    int64 downloadedBytes = 0;         ///< bytes of body received (CURLINFO_SIZE_DOWNLOAD_T)
    int64 uploadedBytes = 0;           ///< bytes of body sent (CURLINFO_SIZE_UPLOAD_T)
    int64 downloadBytesPerSecond = 0;  ///< average (CURLINFO_SPEED_DOWNLOAD_T)
    int64 uploadBytesPerSecond = 0;    ///< average (CURLINFO_SPEED_UPLOAD_T)

    String remoteAddress;  ///< of the server or proxy, numeric (CURLINFO_PRIMARY_IP)
    int remotePort = 0;    ///< CURLINFO_PRIMARY_PORT
    String localAddress;   ///< numeric (CURLINFO_LOCAL_IP)
    int localPort = 0;     ///< CURLINFO_LOCAL_PORT

    int httpVersion = 0;     ///< 10, 11, 20 or 30; 0 for no HTTP response (CURLINFO_HTTP_VERSION)
    int newConnections = 0;  ///< connections that the transfer made, without failures (CURLINFO_NUM_CONNECTS)
    /// Whether the transfer used only connections that were open before it.
    bool isConnectionReused = false;
};

/// How the last transfer of a request went, also after a failure. All values are empty before the first
/// transfer and after CNetRequest::reset().
///
/// Like the request: one thread at a time. Of a request that a manager or worker drives, ask after the
/// transfer has ended.
[[nodiscard]] VEXIL_API CTransferTimings getTimings(const CNetRequest& request);

}  // namespace vexil
