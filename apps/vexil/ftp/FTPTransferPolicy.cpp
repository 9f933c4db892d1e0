#include "apps/vexil/ftp/FTPTransferPolicy.h"

#include "apps/vexil/ftp/FTPDiagnosis.h"
#include "apps/vexil/ftp/FTPReplies.h"
#include "vexil/net/ErrorClassification.h"

#include <algorithm>

namespace vexil::app {

namespace {

constexpr int maxWaitMilliseconds = 10;

constexpr int maxHandshakeTries = 5;
constexpr int replyServiceNotAvailable = 421;
constexpr int replyGoodbye = 221;
constexpr int replyNoDataConnection = 425;
constexpr int replyAuthAccepted = 234;
constexpr int replyDataConnectionNotSafe = 522;
constexpr int replyTransferDone = 226;
constexpr int replyPassive = 227;
constexpr int replyExtendedPassive = 229;
constexpr int replyLoggedIn = 230;

bool mayPass(int64 curlCode) {
    switch (curlCode) {
    case CURLE_COULDNT_CONNECT:
    case CURLE_PARTIAL_FILE:
    case CURLE_OPERATION_TIMEDOUT:
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
        return true;
    default:
        return false;
    }
}

/// Whether a disk or quota is full, which does not end soon (RFC 959, 4.2.1).
bool isFull(int reply) {
    return reply == 452 || reply == 552;
}

// The "transient negative" replies of RFC 959, 4.2.1.
bool mayPassByReply(int reply) {
    return reply == replyServiceNotAvailable || reply == replyNoDataConnection || reply == 426 ||
           reply == 450 || reply == 451;
}

/// Whether the server accepts no data connection, or the TLS handshake on it has failed. The handshake of the
/// control connection comes first of all, or in response to AUTH.
bool isRefusedDataConnection(int64 curlCode, int reply) {
    return reply == replyNoDataConnection || reply == replyDataConnectionNotSafe ||
           (curlCode == CURLE_SSL_CONNECT_ERROR && reply > 0 && reply != replyAuthAccepted);
}

/// Whether a TLS handshake for data has failed after the server has begun the transfer: libcurl then sends
/// PASV, and takes the server's next text for the reply to it.
bool isMisreadHandshake(int64 curlCode, int reply) {
    return curlCode == CURLE_FTP_WEIRD_PASV_REPLY && reply >= 100 && reply <= 199;
}

/// The code of the reply that has ended a transfer. libcurl's own code is that of its goodbye, or missing, if
/// it has closed another connection at the end of the transfer.
int findDecisiveCode(const CCURLError& error, const CNetRequest& request) {
    const int code = error.getResponseCode();
    if ((code > 0 && code != replyGoodbye) || mayPass(error.getCode())) {
        return code;
    }
    const TArray<CNetReply> refusals = findRefusals(request);
    return refusals.empty() ? code : refusals.back().getCode();
}

/// Whether a refused transfer had its own new connection, which did not reach the login. A kept connection
/// that was idle for too long may end with the same reply.
bool wasRefusedAtLogin(CNetRequest& request) {
    const bool hasDataConnection = hasReply(request, replyPassive) || hasReply(request, replyExtendedPassive);
    return request.getInfoLong(CURLINFO_NUM_CONNECTS) > 0 && !hasReply(request, replyLoggedIn) &&
           !hasDataConnection;
}

/// Whether a connection has ended, or the server does not reply.
bool isSilence(int64 curlCode) {
    return curlCode == CURLE_GOT_NOTHING || curlCode == CURLE_SEND_ERROR || curlCode == CURLE_RECV_ERROR ||
           curlCode == CURLE_SSL_CONNECT_ERROR || curlCode == CURLE_OPERATION_TIMEDOUT;
}

}  // namespace

void CFTPTransferPolicy::checkResult(CNetRequest& request) {
    try {
        request.checkAsyncResult();
    } catch (const CCURLError& error) {
        const int code = findDecisiveCode(error, request);
        if (isRefusedDataConnection(error.getCode(), code) || isMisreadHandshake(error.getCode(), code)) {
            m_refusedRequests[&request] = &request;
        }
        if (isRefusedConnection(request, error)) {
            throwWithReply(CRefusedConnectionError(error), request);
        }
        m_hasLoggedIn = m_hasLoggedIn || hasReply(request, replyLoggedIn);
        throwWithReply(error, request);
    }
    m_hasLoggedIn = true;
    m_retryPolicy->onSuccess();
    m_hasTransferred = m_hasTransferred || hasReply(request, replyTransferDone);
}

void CFTPTransferPolicy::setUp(CNetRequest& request) {
    // On another request's control connection there would be no TLS session for the data connection to
    // resume.
    request.setKeepsOwnConnections(true);
    if (m_refusedRequests.erase(&request) == 0) {
        return;
    }
    if (m_ownRequest == &request) {
        // This closes the old connection, which matters if the server accepts few.
        m_manager = new CAsyncNetRequestManager;
    } else {
        request.setOptionInt(CURLOPT_FRESH_CONNECT, 1);
    }
}

void CFTPTransferPolicy::perform(CNetRequest& request) {
    performHere(request);
    checkResult(request);
}

void CFTPTransferPolicy::performHere(CNetRequest& request) {
    request.resetForPerform();
    m_manager->addRequest(&request);
    while (m_manager->getRequestCount() > 0) {
        m_manager->waitForEvents(maxWaitMilliseconds);
        m_manager->handleEvents(nullptr);
    }
}

void CFTPTransferPolicy::throwWithReply(const CCURLError& error, CNetRequest& request) {
    const int code = findDecisiveCode(error, request);
    if (!(error.getDomain() == "curl") || code < 1) {
        error.throwClone();
    }
    const bool isMisread = isMisreadHandshake(error.getCode(), code);
    const CCURLError described(isMisread ? CURLE_SSL_CONNECT_ERROR : static_cast<CURLcode>(error.getCode()),
                               isMisread ? String("on the data connection") : request.getErrorMessage(),
                               "ftp", code, describeReply(request, code), "", error.getURL(), "");
    // AUTH comes before the login, PROT after it.
    if (error.getCode() == CURLE_USE_SSL_FAILED && hasReply(request, replyLoggedIn)) {
        throwRefusal("The server encrypts the login, but refuses to encrypt files and listings", described);
    }
    if (dynamic_cast<const CRefusedConnectionError*>(&error)) {
        throw CRefusedConnectionError(described);
    }
    throw described;
}

std::optional<std::chrono::milliseconds>
CFTPTransferPolicy::decideRetry(CNetRequest& request, const CError& error, CRetryPolicy::Failures& failures) {
    const auto* const transferError = dynamic_cast<const CCURLError*>(&error);
    if (transferError && isFull(transferError->getResponseCode())) {
        return std::nullopt;
    }
    // Each try has a new connection, so the server refuses this file.
    if (isBrokenDataHandshake(error) && failures.count >= maxHandshakeTries) {
        return std::nullopt;
    }
    if (!transferError || !(error.getDomain() == "curl") || error.getCode() == CURLE_ABORTED_BY_CALLBACK ||
        (!mayPass(error.getCode()) && !dynamic_cast<const CRefusedConnectionError*>(&error) &&
         !mayPassByReply(transferError->getResponseCode()) &&
         !isRefusedDataConnection(error.getCode(), transferError->getResponseCode()) &&
         !isTransientError(error))) {
        return std::nullopt;
    }
    return decidePause(request, error, failures);
}

bool CFTPTransferPolicy::isRefusedConnection(CNetRequest& request, const CError& error) const {
    const auto* const transferError = dynamic_cast<const CCURLError*>(&error);
    if (!m_hasLoggedIn || !transferError) {
        return false;
    }
    // A request may find its earlier connection in use by another request, so its own history proves nothing.
    return error.getCode() == CURLE_LOGIN_DENIED ||
           ((transferError->getResponseCode() == replyServiceNotAvailable || isSilence(error.getCode())) &&
            wasRefusedAtLogin(request));
}

void throwIfOnlyThisBreaks(const CFTPTransferPolicy& policy, const CError& error) {
    if (policy.hasTransferred() && isBrokenDataHandshake(error)) {
        throw CError(
            "The server has ended the data connection before it was encrypted: it may refuse this file",
            "ftp");
    }
}

}  // namespace vexil::app
