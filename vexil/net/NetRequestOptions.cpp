#include "vexil/net/ConnectionChoice.h"
#include "vexil/net/LineEnd.h"
#include "vexil/net/NetRequest.h"
#include "vexil/net/NetRequestOption.h"
#include "vexil/net/PostBody.h"

#include <algorithm>
#include <limits>

namespace vexil {

namespace {

constexpr int defaultLowSpeedLimit = 1;  // bytes per second
constexpr auto defaultLowSpeedTime = zet::CTimeSpan::fromSeconds(60);
constexpr auto defaultConnectTimeout = zet::CTimeSpan::fromSeconds(30);

bool hasScheme(const String& url, const char* scheme) {
    return url.startsWithNoCase(scheme);
}

/// Whole seconds, rounded up; 0 for a span that is not set.
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
void refuseNUL(const String& value, const char* place) {
    if (value.find(L'\0') != String::npos) {
        throw CInvalidArgError(place, "value contains a NUL character");
    }
}

/// libcurl sends a method or command as it is, and its next line as a header or a command.
void refuseLineEnd(const String& value, const char* place) {
    refuseNUL(value, place);
    if (hasLineEnd(value)) {
        throw CInvalidArgError(place, "value contains a CR or LF character");
    }
}

/// Whether libcurl reads a value of this kind for an option: its numbers are made of the kind (CURLOPTTYPE_LONG and so
/// on, 10,000 numbers each).
bool isOfKind(CURLoption option, int kind) {
    constexpr int numbersOfAKind = 10000;
    return option / numbersOfAKind == kind / numbersOfAKind;
}

/// Lists, callback data and other objects are of the same kind as strings: only libcurl's table tells them apart. What is
/// not in the table is for libcurl to refuse.
bool isString(CURLoption option) {
    if (!isOfKind(option, CURLOPTTYPE_STRINGPOINT)) {
        return false;
    }
    const curl_easyoption* const known = curl_easy_option_by_id(option);
    return !known || known->type == CURLOT_STRING;
}

const char* nameOfType(curl_easytype type) {
    switch (type) {
    case CURLOT_LONG:
    case CURLOT_VALUES:
        return "a number of 32 bits";
    case CURLOT_OFF_T:
        return "a number of 64 bits";
    case CURLOT_STRING:
        return "a string";
    case CURLOT_SLIST:
        return "a list";
    case CURLOT_FUNCTION:
        return "a function";
    default:
        return "a pointer";
    }
}

/// "" for an option that libcurl does not know.
String describeType(CURLoption option) {
    const curl_easyoption* const known = curl_easy_option_by_id(option);
    return known ? String("CURLOPT_") + known->name + " takes " + nameOfType(known->type) : String();
}

}  // namespace

void CNetRequest::checkOptionResult(CURLcode result) {
    if (result != CURLE_OK) {
        throwError(result, "", -1, "");
    }
}

void CNetRequest::checkOptionType(CURLoption option, bool isRightType) {
    if (isRightType) {
        return;
    }
    clearErrorBuffer();
    throwError(CURLE_UNKNOWN_OPTION, "", -1, describeType(option));
}

void CNetRequest::setOptionInt(CURLoption option, int value) {
    if (option == CURLOPT_POSTFIELDSIZE) {
        setPostSize(option, value);
        return;
    }
    checkOptionType(option, isOfKind(option, CURLOPTTYPE_LONG));
    setOption(option, static_cast<long>(value));
    if (option == CURLOPT_SSLVERSION) {
        m_tlsVersions = value;
    }
    if (m_postBody) {
        m_postBody->onOptionSet(option, value != 0);
    }
}

void CNetRequest::setOptionInt64(CURLoption option, int64 value) {
    if (option == CURLOPT_POSTFIELDSIZE_LARGE) {
        setPostSize(option, value);
        return;
    }
    checkOptionType(option, isOfKind(option, CURLOPTTYPE_OFF_T));
    setOption(option, static_cast<curl_off_t>(value));
}

void CNetRequest::setOptionPtr(CURLoption option, void* value) {
    switch (option) {
    case CURLOPT_POSTFIELDS:
        setPostMemory(value);
        break;
    case CURLOPT_COPYPOSTFIELDS:
        copyPostMemory(static_cast<const char*>(value));
        break;
    default:
        checkOptionType(option, isOfKind(option, CURLOPTTYPE_OBJECTPOINT) ||
                                    isOfKind(option, CURLOPTTYPE_FUNCTIONPOINT) ||
                                    isOfKind(option, CURLOPTTYPE_BLOB));
        setOption(option, value);
        if (m_postBody) {
            m_postBody->onOptionSet(option, value != nullptr);
        }
        break;
    }
}

void CNetRequest::setOptionString(CURLoption option, const String& value) {
    static constexpr char place[] = "CNetRequest::setOptionString";
    if (option == CURLOPT_POSTFIELDS || option == CURLOPT_COPYPOSTFIELDS) {
        refuseNUL(value, place);
        setPostText(value.toUTF8());
        return;
    }
    checkOptionType(option, isString(option));
    setTextOption(option, value, place);
}

void CNetRequest::setTextOption(CURLoption option, const String& value, const char* place) {
    refuseNUL(value, place);
    setOption(option, value.toUTF8().c_str());
}

void CNetRequest::setDefaultOptions() {
    setOption(CURLOPT_ERRORBUFFER, m_errorBuffer.getData());
    clearErrorBuffer();
    setOption(CURLOPT_WRITEFUNCTION, &writeCallback);
    setOption(CURLOPT_WRITEDATA, static_cast<void*>(this));
    setOption(CURLOPT_READFUNCTION, &readCallback);
    setOption(CURLOPT_READDATA, static_cast<void*>(this));
    setOption(CURLOPT_SEEKFUNCTION, &seekCallback);
    setOption(CURLOPT_SEEKDATA, static_cast<void*>(this));
    setOption(CURLOPT_HEADERFUNCTION, &headerCallback);
    setOption(CURLOPT_HEADERDATA, static_cast<void*>(this));
    setOptionInt(CURLOPT_FOLLOWLOCATION, 1);
    setOptionInt(CURLOPT_NOSIGNAL, 1);
    setConnectTimeout(defaultConnectTimeout);
    setLowSpeedLimit(defaultLowSpeedLimit, defaultLowSpeedTime);
    setOption(CURLOPT_DEBUGFUNCTION, &_curlDebugFunctionCallback);
    setOption(CURLOPT_DEBUGDATA, static_cast<void*>(this));
}

void CNetRequest::setURL(const String& url) {
    static constexpr char place[] = "CNetRequest::setURL";
    refuseNUL(url, place);
    m_url = url;
    m_isHTTP = hasScheme(url, "http:") || hasScheme(url, "https:");
    setTextOption(CURLOPT_URL, url, place);
}

String CNetRequest::getResponseCodeDomain() const {
    if (m_isHTTP) {
        return "http";
    }
    if (hasScheme(m_url, "ftp:") || hasScheme(m_url, "ftps:") || hasScheme(m_url, "sftp:")) {
        return "ftp";
    }
    return hasScheme(m_url, "smtp:") || hasScheme(m_url, "smtps:") ? "smtp" : "";
}

void CNetRequest::setHTTPMethod(const String& method) {
    static constexpr char place[] = "CNetRequest::setHTTPMethod";
    refuseLineEnd(method, place);
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
        setPostDataSize(0);
    }

    if (isPut) {
        setUpload(true);
    } else if (isPost) {
        setOptionInt(CURLOPT_POST, 1);
        setPostDataSize(m_sendDataSize);
    } else if (isGet) {
        setOptionInt(CURLOPT_HTTPGET, 1);
    } else if (isHead) {
        setOptionInt(CURLOPT_NOBODY, 1);
    } else if (isCustom) {
        setTextOption(CURLOPT_CUSTOMREQUEST, method, place);
    }
    m_httpMethod = method;
}

String CNetRequest::getHTTPMethod() const {
    if (!m_httpMethod.isEmpty()) {
        return m_httpMethod;
    }
    return m_upload ? "PUT" : "GET";
}

void CNetRequest::setUpload(bool upload) {
    setOptionInt(CURLOPT_UPLOAD, upload ? 1 : 0);
    m_upload = upload;
}

void CNetRequest::setSendDataSize(int64 size) {
    setOptionInt64(CURLOPT_INFILESIZE_LARGE, size);
    if (m_postBody) {
        m_postBody->onDataSizeSet();
    }
    if (m_httpMethod == "POST") {
        setPostDataSize(size);
    }
    m_sendDataSize = size;
}

void CNetRequest::setCustomHTTPHeaders(CNetHeaders* headers) {
    // libcurl points into the old list until it has taken the new one.
    const P<CNetHeaders> old = m_customHTTPHeaders;
    m_customHTTPHeaders = headers;
    setOptionPtr(CURLOPT_HTTPHEADER, headers ? headers->getSList() : nullptr);
}

void CNetRequest::setFollowRedirects(bool follow) {
    setOptionInt(CURLOPT_FOLLOWLOCATION, follow ? 1 : 0);
}

void CNetRequest::setRedirectProtocols(const String& protocols) {
    setTextOption(CURLOPT_REDIR_PROTOCOLS_STR, protocols, "CNetRequest::setRedirectProtocols");
}

void CNetRequest::setMaxRedirects(int count) {
    setOptionInt(CURLOPT_MAXREDIRS, count);
}

void CNetRequest::setKeepPostOnRedirect(bool keep) {
    setOptionInt(CURLOPT_POSTREDIR, keep ? CURL_REDIR_POST_ALL : 0);
}

void CNetRequest::setHTTPAuthMethods(unsigned int methods) {
    // libcurl takes the mask as a `long`, which has 32 bits on Windows.
    setOption(CURLOPT_HTTPAUTH, static_cast<long>(methods));
}

void CNetRequest::setUserName(const String& name) {
    setTextOption(CURLOPT_USERNAME, name, "CNetRequest::setUserName");
}

void CNetRequest::setUserPassword(const String& password) {
    setTextOption(CURLOPT_PASSWORD, password, "CNetRequest::setUserPassword");
}

void CNetRequest::setProxy(const String& proxy) {
    setTextOption(CURLOPT_PROXY, proxy, "CNetRequest::setProxy");
}

void CNetRequest::setMillisecondsOption(CURLoption option, const zet::CTimeSpan& span) {
    setOptionInt(option, span.isSet() ? static_cast<int>(span.getMilliseconds()) : 0);
}

void CNetRequest::setConnectTimeout(const zet::CTimeSpan& timeout) {
    setMillisecondsOption(CURLOPT_CONNECTTIMEOUT_MS, timeout);
}

void CNetRequest::setFullRequestTimeout(const zet::CTimeSpan& timeout) {
    setMillisecondsOption(CURLOPT_TIMEOUT_MS, timeout);
}

void CNetRequest::setLowSpeedLimit(int bytesPerSecond, const zet::CTimeSpan& time) {
    setOptionInt(CURLOPT_LOW_SPEED_LIMIT, bytesPerSecond);
    setOptionInt(CURLOPT_LOW_SPEED_TIME, secondsRoundedUp(time));
}

void CNetRequest::setSSLVerifyPeer(bool verify) {
    setOptionInt(CURLOPT_SSL_VERIFYPEER, verify ? 1 : 0);
}

void CNetRequest::setRootCertBundlePath(const TPathImpl<CWindowsPathTraits>& path) {
    setTextOption(CURLOPT_CAINFO, path.getText(), "CNetRequest::setRootCertBundlePath");
}

void CNetRequest::setMaxTLSVersion(TLSVersion version) {
    constexpr int minPart = 0xFFFF;
    setOptionInt(CURLOPT_SSLVERSION, (m_tlsVersions & minPart) | getMaxPart(version));
}

void CNetRequest::setRange(int64 start, int64 length) {
    String range = String::fromInt(start) + "-";
    if (length != -1) {
        range += String::fromInt(start + (length - 1));
    }
    setTextOption(CURLOPT_RANGE, range, "CNetRequest::setRange");
}

void CNetRequest::setFTPUseSSL(int level) {
    setOptionInt(CURLOPT_USE_SSL, level);
}

void CNetRequest::setFTPFileMethod(int method) {
    setOptionInt(CURLOPT_FTP_FILEMETHOD, method);
}

void CNetRequest::setFTPCreateMissingDirs(int mode) {
    setOptionInt(CURLOPT_FTP_CREATE_MISSING_DIRS, mode);
}

void CNetRequest::setFTPListOverrideCommand(const String& command) {
    static constexpr char place[] = "CNetRequest::setFTPListOverrideCommand";
    if (command.isEmpty()) {
        setOptionPtr(CURLOPT_CUSTOMREQUEST, nullptr);
    } else {
        refuseLineEnd(command, place);
        setTextOption(CURLOPT_CUSTOMREQUEST, command, place);
    }
}

void CNetRequest::setStringListOption(CURLoption option, ListOption& slot, CNetStringList* list) {
    // Held also where libcurl refuses it: it may be an object that only this call refers to.
    const P<CNetStringList> next = list;
    const P<CNetStringList> old = slot.list;
    curl_slist* const head = list ? list->getSList() : nullptr;
    setOptionPtr(option, head);
    slot = {next, head};
}

void CNetRequest::setChangedListOption(CURLoption option, ListOption& slot) {
    // It may have got its first entry since, or others in new memory; all else libcurl sees by itself.
    if (slot.list && slot.list->getSList() != slot.head) {
        setStringListOption(option, slot, slot.list);
    }
}

void CNetRequest::setFTPCustomPreCommands(CNetStringList* commands) {
    setStringListOption(CURLOPT_PREQUOTE, m_ftpPreCommands, commands);
}

void CNetRequest::setFTPCustomPostCommands(CNetStringList* commands) {
    setStringListOption(CURLOPT_POSTQUOTE, m_ftpPostCommands, commands);
}

void CNetRequest::setMailRecipients(CNetStringList* recipients) {
    setStringListOption(CURLOPT_MAIL_RCPT, m_mailRecipients, recipients);
}

void CNetRequest::setVerbose(bool on) {
    m_verbose = on;
    setOptionInt(CURLOPT_VERBOSE, on ? 1 : 0);
}

void CNetRequest::setVerboseSettings(VerboseLogData data, VerboseLogData sslData) {
    m_verboseData = data;
    m_verboseSSLData = sslData;
}

void CNetRequest::setTransferProgress(ITransferProgress* progress) {
    m_progress = progress;
    setProgressOptions();
}

void CNetRequest::setCancellable(bool cancellable) {
    m_isCancellable = cancellable;
    setProgressOptions();
}

void CNetRequest::setReceiveBufferLimits(int64 success, int64 failure) {
    m_maxSuccessBytes = success;
    m_maxFailureBytes = failure;
}

void CNetRequest::setCancelToken(CCancelToken* token) {
    m_cancelToken = token;
    setProgressOptions();
}

void CNetRequest::setProgressOptions() {
    const bool isWatched = m_isCancellable || m_progress || m_cancelToken;
    if (isWatched == m_isWatched) {
        return;
    }
    setOption(CURLOPT_XFERINFOFUNCTION, isWatched ? &CNetRequest::progressCallback : nullptr);
    setOption(CURLOPT_XFERINFODATA, isWatched ? static_cast<void*>(this) : nullptr);
    setOption(CURLOPT_NOPROGRESS, isWatched ? 0L : 1L);
    m_isWatched = isWatched;
}

}  // namespace vexil
