#include "vexil/net/CURLError.h"
#include "vexil/net/ConnectionChoice.h"
#include "vexil/net/NetRequest.h"
#include "vexil/net/ReplyAssembler.h"
#include "vexil/net/Sockets.h"
#include "zet/Log.h"

#include <algorithm>
#include <string_view>

namespace vexil {

namespace {

constexpr int maxServerMessageBytes = 4096;

// Never destroyed: objects with static lifetime may use it while the process ends.
const String& nameContentType = *new String("content-type");

bool hasType(CURLINFO info, int type) {
    return (info & CURLINFO_TYPEMASK) == type;
}

void replaceTags(String& text) {
    for (std::size_t start; (start = text.find(L'<')) != String::npos;) {
        const std::size_t end = std::min(text.find(L'>', start), text.length() - 1);
        text.replace(start, end - start + 1, " ");
    }
}

void replaceUntilNoneIsLeft(String& text, const String& from, const String& to) {
    while (text.find(from) != String::npos) {
        text.replaceAll(from, to);
    }
}

void convertHTMLToPlainText(String& text) {
    replaceTags(text);
    text.replaceAll("\r\n", "\n");
    text.replaceAll("\t", " ");
    text.trim();
    replaceUntilNoneIsLeft(text, "  ", " ");
    text.replaceAll(" \n", "\n");
    text.replaceAll("\n ", "\n");
    replaceUntilNoneIsLeft(text, "\n\n", "\n");
}

}  // namespace

void CNetRequest::perform() {
    forgetCancel();
    resetForPerform();
    chooseConnections();
    clearErrorBuffer();
    const CURLcode result = runTransfer();
    restoreReuse();
    endUnsafeConnection();
    // The listener may reset this request or release it: from its call on only what is held here is used.
    const P<IDoneListener> listener = m_doneListener;
    try {
        checkTransferResult(result);
    } catch (CError& error) {
        if (listener) {
            listener->onDone(this, &error);
        }
        throw;
    } catch (...) {
        // No memory for the description of the failure.
        if (listener) {
            listener->onDone(this, zet::currentExceptionToError());
        }
        throw;
    }
    if (listener) {
        listener->onDone(this, nullptr);
    }
}

CURLcode CNetRequest::runTransfer() {
    // libcurl would look up the server's name first, which may take long.
    if (isTokenCancelled()) {
        m_isCancelled = true;
        m_isUnsent = true;
        return CURLE_ABORTED_BY_CALLBACK;
    }
    return curl_easy_perform(m_handle.get());
}

void CNetRequest::checkTransferResult(CURLcode result) {
    if (const P<CError> error = getPendingCallbackError()) {
        error->throwClone();
    }
    if (result != CURLE_OK && !isCut(result)) {
        throwError(result, getResponseCodeDomain(), getResponseCode(), getErrorDetail(result));
    }
    if (m_isHTTP) {
        const int status = getResponseCode();
        if (!isSuccessStatus(status)) {
            throwError(CURLE_HTTP_RETURNED_ERROR, "http", status, "");
        }
    }
}

int CNetRequest::getResponseCode() {
    // libcurl has the code of the transfer before.
    return m_isUnsent ? 0 : getInfoLong(CURLINFO_RESPONSE_CODE);
}

int CNetRequest::getInfoLong(CURLINFO info) {
    if (!hasType(info, CURLINFO_LONG)) {
        // libcurl would write a value of that other type over this one.
        checkOptionResult(CURLE_UNKNOWN_OPTION);
    }
    long value = 0;
    checkOptionResult(curl_easy_getinfo(m_handle.get(), info, &value));
    return static_cast<int>(value);
}

double CNetRequest::getInfoDouble(CURLINFO info) {
    if (!hasType(info, CURLINFO_DOUBLE)) {
        // libcurl would write a value of that other type over this one.
        checkOptionResult(CURLE_UNKNOWN_OPTION);
    }
    double value = 0;
    checkOptionResult(curl_easy_getinfo(m_handle.get(), info, &value));
    return value;
}

String CNetRequest::getRedirectURL() {
    const char* url = nullptr;
    checkOptionResult(curl_easy_getinfo(m_handle.get(), CURLINFO_REDIRECT_URL, &url));
    return url ? String::fromUTF8Lossy(url) : String();
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

String CNetRequest::getErrorMessage() const {
    try {
        return String::fromUTF8(m_errorBuffer.getData());
    } catch (const std::exception& error) {
        zet::logError(
            error, "A CURL function has failed, but the CURL error buffer does not contain valid UTF8 data.");
        return String();
    }
}

String CNetRequest::getErrorDetail(CURLcode result) const {
    // libcurl's own text tells of a callback.
    return m_isCancelled && result == CURLE_ABORTED_BY_CALLBACK ? String("transfer cancelled")
                                                                : getErrorMessage();
}

String CNetRequest::getServerErrorMessageFromResponseData(const unsigned char* data, int length,
                                                          const TMap<String, String>& headers) {
    try {
        const int used = std::clamp(length, 0, maxServerMessageBytes);
        String text = String::fromUTF8({reinterpret_cast<const char*>(data), static_cast<std::size_t>(used)});
        const auto contentType = headers.find(nameContentType);
        const bool isHTML = (contentType != headers.end() && contentType->second.startsWith("text/html")) ||
                            text.find("<html") != String::npos;
        if (isHTML) {
            convertHTMLToPlainText(text);
        }
        return text;
    } catch (const std::exception&) {
        return String();
    }
}

void CNetRequest::throwError(CURLcode code, const String& responseCodeDomain, int responseCode,
                             const String& errorDetail) {
    const String detail = errorDetail.isEmpty() ? getErrorMessage() : errorDetail;
    const bool isHTTP = responseCodeDomain == "http";
    throw CCURLError(code, detail, responseCodeDomain, responseCode,
                     getServerMessage(responseCodeDomain, responseCode), isHTTP ? m_httpStatusLine : String(),
                     m_url, isHTTP ? m_httpMethod : String());
}

String CNetRequest::getServerMessage(const String& responseCodeDomain, int responseCode) {
    if (responseCodeDomain == "smtp" && responseCode >= 1 && m_responseInfo) {
        return getLastResponseInfo();
    }
    if (responseCodeDomain == "http" && m_defaultReceiveBuffer->getUsed() > 0) {
        return getServerErrorMessageFromResponseData(
            m_defaultReceiveBuffer->getData(), m_defaultReceiveBuffer->getUsed(), getResponseHeaderMap());
    }
    return String();
}

String CNetRequest::getLastResponseInfo() const {
    String last;
    for (const P<CNetStringList::CIterator> line = m_responseInfo->createIterator(); line->next();) {
        last = line->getEntry();
    }
    return last;
}

String CNetRequest::getResponseText(int code) const {
    const String start = String::fromInt(code);
    String text;
    bool isOver = true;
    for (const P<CNetStringList::CIterator> lines = m_responseInfo->createIterator(); lines->next();) {
        const String line = lines->getEntry().trimmed();
        const wchar_t separator = line.startsWith(start) ? line[start.length()] : L'x';
        // The code alone is a whole reply; behind "-" further lines follow (RFC 5321, 4.2.1).
        if (separator != L' ' && separator != L'-' && separator != L'\0') {
            continue;
        }
        text = isOver ? line : text + "\n" + line;
        isOver = separator != L'-';
    }
    return text;
}

void CNetRequest::endUnsafeConnection() noexcept {
    // Some servers say 226 when a data connection is closed, although no transfer has begun on it. The next command on
    // the control connection would take that for its own reply: a file that is still there would count as deleted.
    // A server that has said 421 is about to close the connection, which would break the transfer that takes it.
    // CURLOPT_FORBID_REUSE would say QUIT, and the reply to that would become this transfer's response code.
    if (!m_replies->isConnectionUnsafe()) {
        return;
    }
    m_connections->leaveConnections();
    // Otherwise it would still count for a server that allows few. That alone is not enough: libcurl 7.88 uses a
    // connection that was reset.
    curl_socket_t socket = CURL_SOCKET_BAD;
    if (curl_easy_getinfo(m_handle.get(), CURLINFO_ACTIVESOCKET, &socket) == CURLE_OK &&
        socket != CURL_SOCKET_BAD) {
        shutDownSocket(socket);
    }
}

TArray<CNetReply> CNetRequest::getReplies() const {
    return m_replies->getReplies();
}

String CNetRequest::urlEscape(const String& text) {
    const std::string utf8 = text.toUTF8();
    if (utf8.empty()) {
        // To libcurl a length of 0 means "up to the NUL", which comes to the same.
        return String();
    }
    const CurlString escaped(curl_easy_escape(m_handle.get(), utf8.data(), static_cast<int>(utf8.size())));
    if (!escaped) {
        throw CError("Error URL-escaping a string.");
    }
    return String::fromUTF8(escaped.get());
}

}  // namespace vexil
