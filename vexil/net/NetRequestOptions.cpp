#include "vexil/net/LineEnd.h"
#include "vexil/net/NetRequestParts.h"

#include <algorithm>
#include <limits>

namespace vexil {

namespace {

// The type that libcurl takes.
constexpr long defaultLowSpeedLimit = 1;        // bytes per second
constexpr long defaultLowSpeedTime = 60;        // seconds
constexpr long defaultConnectTimeout = 30'000;  // milliseconds

bool hasScheme(const String& url, const char* scheme) {
    return url.startsWithNoCase(scheme);
}

/// 0 for a span that is not set.
int wholeMilliseconds(const zet::CTimeSpan& span) {
    return span.isSet() ? static_cast<int>(span.getMilliseconds()) : 0;
}

/// Rounded up; 0 for a span that is not set.
int secondsRoundedUp(const zet::CTimeSpan& span) {
    constexpr int64 second = 1000000;
    if (!span.isSet()) {
        return 0;
    }
    const int64 count = span.getMicroseconds();
    const int64 seconds = count / second + (count % second > 0 ? 1 : 0);
    return static_cast<int>(
        std::clamp<int64>(seconds, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

/// The part of CURLOPT_SSLVERSION that is the newest version.
int getMaxPart(TLSVersion version) {
    switch (version) {
    case TLSVersionDefault:
        return CURL_SSLVERSION_MAX_NONE;
    case TLSVersion1_0:
        return CURL_SSLVERSION_MAX_TLSv1_0;
    case TLSVersion1_1:
        return CURL_SSLVERSION_MAX_TLSv1_1;
    case TLSVersion1_2:
        return CURL_SSLVERSION_MAX_TLSv1_2;
    case TLSVersion1_3:
        return CURL_SSLVERSION_MAX_TLSv1_3;
    }
    throw CInvalidArgError("CNetRequest::setMaxTLSVersion",
                           "unknown TLS version: " + String::fromInt(version));
}

/// libcurl would take the part before a NUL: another URL, another password.
void refuseNUL(const String& value, const char* function) {
    if (value.find(L'\0') != String::npos) {
        throw CInvalidArgError(function, "value contains a NUL character");
    }
}

/// libcurl sends a method or command as it is, and its next line as a header or a command.
void refuseLineEnd(const String& value, const char* function) {
    refuseNUL(value, function);
    if (hasLineEnd(value)) {
        throw CInvalidArgError(function, "value contains a CR or LF character");
    }
}

}  // namespace

void CNetRequest::setOptionInt(CURLoption option, int value) {
    if (option == CURLOPT_POSTFIELDSIZE) {
        m_parts->requestBody.setPostSize(option, value);
        return;
    }
    m_parts->curl.setInt(option, value);
    m_parts->connections.note(option, int64{value});
    m_parts->requestBody.onOptionSet(option, value != 0);
}

void CNetRequest::setOptionInt64(CURLoption option, int64 value) {
    if (option == CURLOPT_POSTFIELDSIZE_LARGE) {
        m_parts->requestBody.setPostSize(option, value);
        return;
    }
    m_parts->curl.setInt64(option, value);
    m_parts->connections.note(option, value);
}

void CNetRequest::setOptionPtr(CURLoption option, void* value) {
    switch (option) {
    case CURLOPT_POSTFIELDS:
        m_parts->requestBody.setPostMemory(value, m_parts->isPost());
        break;
    case CURLOPT_COPYPOSTFIELDS:
        m_parts->requestBody.copyPostMemory(static_cast<const char*>(value), m_parts->isPost());
        break;
    default:
        m_parts->curl.setPointer(option, value);
        m_parts->connections.note(option, value);
        m_parts->requestBody.onOptionSet(option, value != nullptr);
        break;
    }
}

void CNetRequest::setOptionString(CURLoption option, const String& value) {
    static constexpr char function[] = "CNetRequest::setOptionString";
    if (option == CURLOPT_POSTFIELDS || option == CURLOPT_COPYPOSTFIELDS) {
        refuseNUL(value, function);
        m_parts->requestBody.setPostText(value.toUTF8());
        return;
    }
    m_parts->curl.checkIsText(option);
    m_parts->setText(option, value, function);
}

void CNetRequestParts::setText(CURLoption option, const String& value, const char* function) {
    refuseNUL(value, function);
    const std::string utf8 = value.toUTF8();
    curl.setOption(option, utf8.c_str());
    connections.note(option, static_cast<const void*>(utf8.c_str()));
}

void CNetRequest::setDefaultOptions() {
    CCurlEasy& curl = m_parts->curl;
    void* const self = this;
    curl.setErrorBuffer();
    curl.setOption(CURLOPT_WRITEFUNCTION, &CNetRequestCallbacks::write);
    curl.setOption(CURLOPT_WRITEDATA, self);
    curl.setOption(CURLOPT_READFUNCTION, &CNetRequestCallbacks::read);
    curl.setOption(CURLOPT_READDATA, self);
    curl.setOption(CURLOPT_SEEKFUNCTION, &CNetRequestCallbacks::seek);
    curl.setOption(CURLOPT_SEEKDATA, self);
    curl.setOption(CURLOPT_HEADERFUNCTION, &CNetRequestCallbacks::header);
    curl.setOption(CURLOPT_HEADERDATA, self);
    curl.setOption(CURLOPT_FOLLOWLOCATION, 1L);
    curl.setOption(CURLOPT_NOSIGNAL, 1L);
    curl.setOption(CURLOPT_CONNECTTIMEOUT_MS, defaultConnectTimeout);
    curl.setOption(CURLOPT_LOW_SPEED_LIMIT, defaultLowSpeedLimit);
    curl.setOption(CURLOPT_LOW_SPEED_TIME, defaultLowSpeedTime);
    curl.setOption(CURLOPT_DEBUGFUNCTION, &_curlDebugFunctionCallback);
    curl.setOption(CURLOPT_DEBUGDATA, self);
}

void CNetRequest::setURL(const String& url) {
    static constexpr char function[] = "CNetRequest::setURL";
    refuseNUL(url, function);
    m_parts->curl.setURL(url);
    m_parts->isHTTP = hasScheme(url, "http:") || hasScheme(url, "https:");
    m_parts->setText(CURLOPT_URL, url, function);
}

String CNetRequest::getURL() const {
    return m_parts->curl.getURL();
}

String CNetRequest::getResponseCodeDomain() const {
    if (m_parts->isHTTP) {
        return "http";
    }
    const String& url = m_parts->curl.getURL();
    if (hasScheme(url, "ftp:") || hasScheme(url, "ftps:") || hasScheme(url, "sftp:")) {
        return "ftp";
    }
    return hasScheme(url, "smtp:") || hasScheme(url, "smtps:") ? "smtp" : "";
}

void CNetRequest::setHTTPMethod(const String& method) {
    static constexpr char function[] = "CNetRequest::setHTTPMethod";
    refuseLineEnd(method, function);
    const bool isGet = method == "GET";
    const bool isPut = method == "PUT";
    const bool isPost = method == "POST";
    const bool isHead = method == "HEAD";
    const bool isCustom = !(method.isEmpty() || isGet || isPut || isPost || isHead);

    if (!isCustom) {
        setOptionPtr(CURLOPT_CUSTOMREQUEST, nullptr);
    }
    if (!isGet) {
        setOptionInt(CURLOPT_HTTPGET, 0);
    }
    if (!isHead) {
        setOptionInt(CURLOPT_NOBODY, 0);
    }
    if (!isPut) {
        setUpload(false);
    }
    if (!isPost) {
        setOptionInt(CURLOPT_POST, 0);
        m_parts->requestBody.setPostDataSize(0);
    }

    if (isPut) {
        setUpload(true);
    } else if (isPost) {
        setOptionInt(CURLOPT_POST, 1);
        m_parts->requestBody.setPostDataSize(m_parts->requestBody.getSize());
    } else if (isGet) {
        setOptionInt(CURLOPT_HTTPGET, 1);
    } else if (isHead) {
        setOptionInt(CURLOPT_NOBODY, 1);
    } else if (isCustom) {
        m_parts->setText(CURLOPT_CUSTOMREQUEST, method, function);
    }
    m_parts->httpMethod = method;
}

String CNetRequest::getHTTPMethod() const {
    if (!m_parts->httpMethod.isEmpty()) {
        return m_parts->httpMethod;
    }
    return m_parts->upload ? "PUT" : "GET";
}

void CNetRequest::setUpload(bool upload) {
    setOptionInt(CURLOPT_UPLOAD, upload ? 1 : 0);
    m_parts->upload = upload;
}

void CNetRequest::setCustomHTTPHeaders(CNetHeaders* headers) {
    // libcurl points into the old list until it has taken the new one.
    const P<CNetHeaders> old = m_parts->customHTTPHeaders;
    m_parts->customHTTPHeaders = headers;
    setOptionPtr(CURLOPT_HTTPHEADER, headers ? headers->getSList() : nullptr);
}

P<CNetHeaders> CNetRequest::getCustomHTTPHeaders() const {
    return m_parts->customHTTPHeaders;
}

void CNetRequest::setFollowRedirects(bool follow) {
    setOptionInt(CURLOPT_FOLLOWLOCATION, follow ? 1 : 0);
}

void CNetRequest::setRedirectProtocols(const String& protocols) {
    m_parts->setText(CURLOPT_REDIR_PROTOCOLS_STR, protocols, "CNetRequest::setRedirectProtocols");
}

void CNetRequest::setMaxRedirects(int count) {
    setOptionInt(CURLOPT_MAXREDIRS, count);
}

void CNetRequest::setKeepPostOnRedirect(bool keep) {
    setOptionInt(CURLOPT_POSTREDIR, keep ? CURL_REDIR_POST_ALL : 0);
}

void CNetRequest::setHTTPAuthMethods(unsigned int methods) {
    // libcurl takes the mask as a `long`, which has 32 bits on Windows.
    m_parts->curl.setOption(CURLOPT_HTTPAUTH, static_cast<long>(methods));
    m_parts->connections.note(CURLOPT_HTTPAUTH, int64{methods});
}

void CNetRequest::setUserName(const String& name) {
    m_parts->setText(CURLOPT_USERNAME, name, "CNetRequest::setUserName");
}

void CNetRequest::setUserPassword(const String& password) {
    m_parts->setText(CURLOPT_PASSWORD, password, "CNetRequest::setUserPassword");
}

void CNetRequest::setProxy(const String& proxy) {
    m_parts->setText(CURLOPT_PROXY, proxy, "CNetRequest::setProxy");
}

void CNetRequest::setConnectTimeout(const zet::CTimeSpan& timeout) {
    setOptionInt(CURLOPT_CONNECTTIMEOUT_MS, wholeMilliseconds(timeout));
}

void CNetRequest::setFullRequestTimeout(const zet::CTimeSpan& timeout) {
    setOptionInt(CURLOPT_TIMEOUT_MS, wholeMilliseconds(timeout));
}

void CNetRequest::setLowSpeedLimit(int bytesPerSecond, const zet::CTimeSpan& time) {
    setOptionInt(CURLOPT_LOW_SPEED_LIMIT, bytesPerSecond);
    setOptionInt(CURLOPT_LOW_SPEED_TIME, secondsRoundedUp(time));
}

void CNetRequest::setSSLVerifyPeer(bool verify) {
    setOptionInt(CURLOPT_SSL_VERIFYPEER, verify ? 1 : 0);
}

void CNetRequest::setVerifyCertificate(bool verify) {
    setSSLVerifyPeer(verify);
    // Without the peer check, a check of the host name has no value: the certificate is not trusted.
    setOptionInt(CURLOPT_SSL_VERIFYHOST, verify ? 2 : 0);
}

void CNetRequest::setRootCertBundlePath(const TPathImpl<CWindowsPathTraits>& path) {
    m_parts->setText(CURLOPT_CAINFO, path.getText(), "CNetRequest::setRootCertBundlePath");
}

void CNetRequest::setMaxTLSVersion(TLSVersion version) {
    constexpr int minPart = 0xFFFF;
    setOptionInt(CURLOPT_SSLVERSION, (m_parts->curl.getTLSVersions() & minPart) | getMaxPart(version));
}

void CNetRequest::setRange(int64 start, int64 length) {
    String range = String::fromInt(start) + "-";
    if (length != -1) {
        range += String::fromInt(start + (length - 1));
    }
    m_parts->setText(CURLOPT_RANGE, range, "CNetRequest::setRange");
}

void CNetRequest::setFTPUseSSL(int level) {
    setOptionInt(CURLOPT_USE_SSL, level);
}

void CNetRequest::setFTPUseSSL(TLSUpgrade upgrade) {
    setFTPUseSSL(static_cast<int>(upgrade));
}

void CNetRequest::setFTPFileMethod(int method) {
    setOptionInt(CURLOPT_FTP_FILEMETHOD, method);
}

void CNetRequest::setFTPFileMethod(FTPFileMethod method) {
    setFTPFileMethod(static_cast<int>(method));
}

void CNetRequest::setFTPCreateMissingDirs(int mode) {
    setOptionInt(CURLOPT_FTP_CREATE_MISSING_DIRS, mode);
}

void CNetRequest::setFTPCreateMissingDirs(FTPMissingDirs mode) {
    setFTPCreateMissingDirs(static_cast<int>(mode));
}

void CNetRequest::setFTPListOverrideCommand(const String& command) {
    static constexpr char function[] = "CNetRequest::setFTPListOverrideCommand";
    if (command.isEmpty()) {
        setOptionPtr(CURLOPT_CUSTOMREQUEST, nullptr);
    } else {
        refuseLineEnd(command, function);
        m_parts->setText(CURLOPT_CUSTOMREQUEST, command, function);
    }
}

void CNetRequest::setFTPCustomPreCommands(CNetStringList* commands) {
    m_parts->setList(CURLOPT_PREQUOTE, m_parts->ftpPreCommands, commands);
}

void CNetRequest::setFTPCustomPostCommands(CNetStringList* commands) {
    m_parts->setList(CURLOPT_POSTQUOTE, m_parts->ftpPostCommands, commands);
}

void CNetRequest::setMailRecipients(CNetStringList* recipients) {
    m_parts->setList(CURLOPT_MAIL_RCPT, m_parts->mailRecipients, recipients);
}

void CNetRequest::setVerbose(bool on) {
    m_parts->verboseLog.setOn(on);
    setOptionInt(CURLOPT_VERBOSE, on ? 1 : 0);
}

void CNetRequest::setVerboseSettings(VerboseLogData data, VerboseLogData sslData) {
    m_parts->verboseLog.setShown(data, sslData);
}

void CNetRequest::setVerboseRecordLimit(int64 bytes) {
    if (bytes < -1) {
        throw CInvalidArgError("CNetRequest::setVerboseRecordLimit",
                               "limit is below -1: " + String::fromInt(bytes));
    }
    m_parts->verboseLog.setLimit(bytes);
}

void CNetRequest::setDoneListener(IDoneListener* listener) {
    m_parts->doneListener = listener;
}

void CNetRequest::setTransferProgress(ITransferProgress* progress) {
    m_parts->watch.setProgress(progress);
    setProgressOptions();
}

void CNetRequest::setCancellable(bool cancellable) {
    m_parts->watch.setCancellable(cancellable);
    setProgressOptions();
}

void CNetRequest::setCancelToken(CCancelToken* token) {
    m_parts->watch.setToken(token);
    setProgressOptions();
}

P<CCancelToken> CNetRequest::getCancelToken() const {
    return m_parts->watch.getToken();
}

void CNetRequest::setProgressOptions() {
    const bool isOn = m_parts->watch.isWanted();
    if (isOn == m_parts->watch.isOn()) {
        return;
    }
    CCurlEasy& curl = m_parts->curl;
    curl.setOption(CURLOPT_XFERINFOFUNCTION, isOn ? &CNetRequestCallbacks::progress : nullptr);
    curl.setOption(CURLOPT_XFERINFODATA, isOn ? static_cast<void*>(this) : nullptr);
    curl.setOption(CURLOPT_NOPROGRESS, isOn ? 0L : 1L);
    m_parts->watch.setOn(isOn);
}

}  // namespace vexil
