#include "vexil/net/NetRequestParts.h"
#include "vexil/net/Sockets.h"

namespace vexil {

// ---- perform ---------------------------------------------------------------------------------------------

void CNetRequest::perform() {
    m_parts->watch.forgetRequest();
    resetForPerform();
    m_parts->borrowConnections();
    m_parts->curl.clearErrorMessage();
    m_parts->beginRate(nullptr);
    // If the token is cancelled, libcurl would still look up the server's name first, which may take long.
    const CURLcode result = m_parts->getResult(m_parts->watch.cancelUnsent() ? CURLE_ABORTED_BY_CALLBACK
                                                                             : m_parts->curl.perform());
    m_parts->endRate();
    m_parts->restoreReuse();
    endUnsafeConnection();
    m_parts->connections.giveBack(m_parts->curl);
    // The listener may reset or release this request. After its call only local variables are used.
    const P<IDoneListener> listener = m_parts->doneListener;
    try {
        checkTransferResult(result);
    } catch (CError& error) {
        if (listener) {
            listener->onDone(this, &error);
        }
        throw;
    } catch (...) {
        // There is no memory for the description of the failure.
        if (listener) {
            listener->onDone(this, zet::currentExceptionToError());
        }
        throw;
    }
    if (listener) {
        listener->onDone(this, nullptr);
    }
}

void CNetRequest::checkTransferResult(CURLcode result) {
    if (const P<CError> error = m_parts->async.getCallbackError()) {
        error->throwClone();
    }
    if (m_parts->isFailure(result)) {
        throwError(result, getResponseCodeDomain(), getResponseCode(), m_parts->getErrorDetail(result));
    }
    if (m_parts->isHTTP) {
        const int status = getResponseCode();
        if (!isSuccessStatus(status)) {
            throwError(CURLE_HTTP_RETURNED_ERROR, "http", status, "");
        }
    }
}

void CNetRequest::cancel() {
    if (!isCancellable()) {
        throw CError("The transfer cannot be cancelled: cancelling is not enabled for this request.");
    }
    m_parts->watch.requestCancel();
    m_parts->async.wake();
}

bool CNetRequest::isCancellable() const noexcept {
    return m_parts->watch.isOn();
}

/// After a transfer, before another one can use its connection: ends a connection on which a reply may come
/// that no command has asked for.
void CNetRequest::endUnsafeConnection() noexcept {
    // Some servers send 226 when a data connection is closed, although no transfer has begun on it. The next
    // command on the control connection would take that for its own reply: a file that still exists would
    // count as deleted. A server that has sent 421 closes the connection soon, and the transfer that uses it
    // would fail. CURLOPT_FORBID_REUSE would send QUIT, and the reply to that would become this transfer's
    // response code.
    if (!m_parts->responseHead.getReplies().isConnectionUnsafe()) {
        return;
    }
    m_parts->connections.leaveConnections();
    // Otherwise a server that allows only few connections would still count it. Shutting it down is not
    // enough: libcurl 7.88 uses a connection that was reset.
    const curl_socket_t socket = m_parts->curl.getActiveSocket();
    if (socket != CURL_SOCKET_BAD) {
        shutDownSocket(socket);
    }
}

// ---- results ---------------------------------------------------------------------------------------------

int CNetRequest::getResponseCode() {
    // libcurl has the code of the transfer before.
    return m_parts->watch.isUnsent() ? 0 : getInfoLong(CURLINFO_RESPONSE_CODE);
}

String CNetRequest::getHTTPStatusLine() const {
    return m_parts->responseHead.getStatusLine();
}

String CNetRequest::getRedirectURL() {
    return m_parts->curl.getText(CURLINFO_REDIRECT_URL);
}

const TMap<String, String>& CNetRequest::getResponseHeaderMap() const noexcept {
    return m_parts->responseHead.getHeaders();
}

const CNetStringList& CNetRequest::getResponseInfo() const {
    return m_parts->responseHead.getLines();
}

String CNetRequest::getResponseText(int code) const {
    return m_parts->responseHead.getReplyText(code);
}

TArray<CNetReply> CNetRequest::getReplies() const {
    return m_parts->responseHead.getReplies().getReplies();
}

bool CNetRequest::isResponseComplete() const noexcept {
    return !m_parts->isHTTP || m_parts->responseHead.isComplete();
}

bool CNetRequest::hasDroppedHeaderLine() const noexcept {
    return m_parts->isHTTP && m_parts->responseHead.hasDroppedLine();
}

String CNetRequest::urlEscape(const String& text) {
    return m_parts->curl.escape(text);
}

// ---- figures ---------------------------------------------------------------------------------------------

int CNetRequest::getInfoLong(CURLINFO info) {
    return m_parts->curl.getLong(info);
}

int64 CNetRequest::getInfoInt64(CURLINFO info) const {
    return m_parts->curl.getInt64(info);
}

double CNetRequest::getInfoDouble(CURLINFO info) {
    return m_parts->curl.getDouble(info);
}

int64 CNetRequest::getDownloadedByteCount() const {
    return getInfoInt64(CURLINFO_SIZE_DOWNLOAD_T);
}

int64 CNetRequest::getUploadedByteCount() const {
    return getInfoInt64(CURLINFO_SIZE_UPLOAD_T);
}

int64 CNetRequest::getDownloadContentLength() const {
    return getInfoInt64(CURLINFO_CONTENT_LENGTH_DOWNLOAD_T);
}

int64 CNetRequest::getUploadContentLength() const {
    return getInfoInt64(CURLINFO_CONTENT_LENGTH_UPLOAD_T);
}

int64 CNetRequest::getDownloadBytesPerSecond() const {
    return getInfoInt64(CURLINFO_SPEED_DOWNLOAD_T);
}

int64 CNetRequest::getUploadBytesPerSecond() const {
    return getInfoInt64(CURLINFO_SPEED_UPLOAD_T);
}

double CNetRequest::getDownloadedBytes() {
    return getInfoDouble(CURLINFO_SIZE_DOWNLOAD);
}

double CNetRequest::getUploadedBytes() {
    return getInfoDouble(CURLINFO_SIZE_UPLOAD);
}

double CNetRequest::getDownloadSize() {
    return getInfoDouble(CURLINFO_CONTENT_LENGTH_DOWNLOAD);
}

double CNetRequest::getUploadSize() {
    return getInfoDouble(CURLINFO_CONTENT_LENGTH_UPLOAD);
}

double CNetRequest::getAvgDownloadSpeed() {
    return getInfoDouble(CURLINFO_SPEED_DOWNLOAD);
}

double CNetRequest::getAvgUploadSpeed() {
    return getInfoDouble(CURLINFO_SPEED_UPLOAD);
}

// ---- verbose log -----------------------------------------------------------------------------------------

bool CNetRequest::isVerboseEnabled() const noexcept {
    return m_parts->verboseLog.isOn();
}

int64 CNetRequest::getVerboseLeftOutBytes() const noexcept {
    return m_parts->verboseLog.getLeftOutBytes();
}

P<zet::CXMLElement> CNetRequest::getVerboseOutput(unsigned int maxTextLength) {
    return isVerboseEnabled() ? m_parts->verboseLog.makeTree(getHTTPMethod(), getURL(), maxTextLength)
                              : nullptr;
}

P<zet::CXMLElement> CNetRequest::getRedactedVerboseOutput(unsigned int maxTextLength) {
    return isVerboseEnabled() ? m_parts->verboseLog.makeRedactedTree(getHTTPMethod(), getURL(), maxTextLength)
                              : nullptr;
}

P<zet::CXMLElement> CNetRequest::createVerboseXmlElement(const CVerboseLogMessage& message,
                                                         unsigned int maxTextLength) {
    return m_parts->verboseLog.makeElement(message, maxTextLength);
}

}  // namespace vexil
