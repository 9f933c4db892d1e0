#include "vexil/net/ErrorClassification.h"

#include "vexil/net/CURLError.h"
#include "vexil/net/TransferErrorKind.h"

#include <algorithm>
#include <initializer_list>

namespace vexil {

namespace {

constexpr char transientProperty[] = "transient";
constexpr int statusServiceUnavailable = 503;
constexpr int replyStartMailInput = 354;
constexpr int replyServiceNotAvailable = 421;
constexpr int replyPasswordTransition = 432;

bool isOneOf(int64 number, std::initializer_list<int> candidates) {
    return std::find(candidates.begin(), candidates.end(), number) != candidates.end();
}

bool isOneOf(const String& text, std::initializer_list<const char*> candidates) {
    return std::any_of(candidates.begin(), candidates.end(),
                       [&text](const char* candidate) { return text == candidate; });
}

bool isConnectionFailure(int64 curlCode) {
    return isOneOf(curlCode, {CURLE_COULDNT_RESOLVE_PROXY, CURLE_COULDNT_RESOLVE_HOST, CURLE_COULDNT_CONNECT,
                              CURLE_SSL_CONNECT_ERROR});
}

bool isBrokenTransfer(int64 curlCode) {
    return isOneOf(curlCode, {CURLE_FTP_ACCEPT_FAILED, CURLE_FTP_ACCEPT_TIMEOUT, CURLE_HTTP2,
                              CURLE_PARTIAL_FILE, CURLE_OPERATION_TIMEDOUT, CURLE_GOT_NOTHING,
                              CURLE_SEND_ERROR, CURLE_RECV_ERROR, CURLE_NO_CONNECTION_AVAILABLE,
                              CURLE_HTTP2_STREAM, CURLE_HTTP3, CURLE_QUIC_CONNECT_ERROR});
}

bool isLocalFailure(int64 curlCode) {
    return isOneOf(curlCode, {CURLE_ABORTED_BY_CALLBACK, CURLE_WRITE_ERROR, CURLE_READ_ERROR,
                              CURLE_OUT_OF_MEMORY, CURLE_PEER_FAILED_VERIFICATION});
}

bool isTransientStatus(int64 status) {
    // RFC 9110, 15; RFC 8470, 5.2; RFC 6585, 4; 520 to 527 are those of a well-known content delivery
    // network.
    return isOneOf(status, {408, 425, 429, 500, 502, 503, 504}) || (status >= 520 && status <= 527);
}

bool isTransientS3Code(const String& code) {
    return isOneOf(code,
                   {"InternalError", "SlowDown", "IncompleteBody", "InvalidDigest", "OperationAborted",
                    "RequestTimeTooSkewed", "BadDigest", "Busy", "RequestTimeout", "ServiceUnavailable",
                    "SlowDownRead", "SlowDownWrite", "Throttling", "ThrottlingException", "TooManyRequests",
                    "TooManyRequestsException", "XAmzContentChecksumMismatch", "XAmzContentSHA256Mismatch"});
}

// RFC 959, 4.2.1 and RFC 4217, 10: the "transient negative" replies whose cause soon ends without help. A
// full disk (452) does not.
bool isTransientFTPReply(int reply) {
    return isOneOf(reply, {421, 425, 426, 431, 434, 450, 451});
}

// RFC 5321, 4.2.1. RFC 4954, 4.7.1: for 432 the user must do something.
bool isTransientMailReply(int reply) {
    return reply >= 400 && reply <= 499 && reply != replyPasswordTransition;
}

enum class Verdict { Transient, Final, None };

Verdict judge(bool isTransient) {
    return isTransient ? Verdict::Transient : Verdict::Final;
}

/// By the status or reply of the server.
Verdict judgeResponse(int64 curlCode, const CProps& props) {
    const String domain = CCURLError::getResponseCodeDomain(props);
    const int code = CCURLError::getResponseCode(props);
    if (domain == "smtp" && code == replyStartMailInput) {
        return Verdict::Final;
    }
    if (code < 400) {
        return curlCode == CURLE_HTTP_RETURNED_ERROR ? Verdict::Final : Verdict::None;
    }
    if (domain == "http") {
        return judge(isTransientStatus(code));
    }
    if (domain == "smtp") {
        return judge(isTransientMailReply(code));
    }
    // After an interrupted transfer the last reply may belong to a command that may fail, such as SIZE.
    const bool isStale = isOneOf(curlCode, {CURLE_OPERATION_TIMEDOUT, CURLE_GOT_NOTHING, CURLE_RECV_ERROR});
    return domain == "ftp" && !isStale ? judge(isTransientFTPReply(code)) : Verdict::None;
}

bool isTransientTransferError(const CError& error) {
    const int64 curlCode = error.getCode();
    if (isConnectionFailure(curlCode)) {
        return true;
    }
    if (isLocalFailure(curlCode)) {
        return false;
    }
    if (const int status = findTunnelStatus(error); status >= 300) {
        return isTransientStatus(status);
    }
    const Verdict verdict = judgeResponse(curlCode, error.getProps());
    return verdict == Verdict::None ? isBrokenTransfer(curlCode) : verdict == Verdict::Transient;
}

}  // namespace

int getHTTPStatusCodeFromError(const CError& error) {
    if (error.getDomain() == "http") {
        return static_cast<int>(error.getCode());
    }
    const int status = getHTTPStatusCodeFromErrorParams(error.getProps());
    const bool isTransportFailure =
        error.getDomain() == "curl" && error.getCode() != CURLE_HTTP_RETURNED_ERROR;
    return isTransportFailure && status < 400 ? -1 : status;
}

int getHTTPStatusCodeFromErrorParams(const CProps& props) {
    return CCURLError::getResponseCodeDomain(props) == "http" ? CCURLError::getResponseCode(props) : -1;
}

bool isNetworkOrServiceDownError(const std::exception& error) {
    const auto* known = dynamic_cast<const CError*>(&error);
    if (!known || !(known->getDomain() == "curl")) {
        return false;
    }
    switch (known->getCode()) {
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_CONNECT:
    case CURLE_SSL_CONNECT_ERROR:
        return true;
    default:
        break;
    }
    const String domain = CCURLError::getResponseCodeDomain(known->getProps());
    const int code = CCURLError::getResponseCode(known->getProps());
    return (domain == "http" && code == 503) || (domain == "ftp" && code == 421);
}

bool isOutageError(const std::exception& error) {
    const auto* known = dynamic_cast<const CError*>(&error);
    if (!known) {
        return false;
    }
    if (known->getDomain() == "http") {
        return known->getCode() == statusServiceUnavailable ||
               isOneOf(known->getProps().lookup("s3-code"), {"ServiceUnavailable", "SlowDown"});
    }
    if (isNetworkOrServiceDownError(error)) {
        return true;
    }
    const CProps& props = known->getProps();
    return known->getDomain() == "curl" && (isOneOf(findTunnelStatus(*known), {502, 503, 504}) ||
                                            (CCURLError::getResponseCodeDomain(props) == "smtp" &&
                                             CCURLError::getResponseCode(props) == replyServiceNotAvailable));
}

bool isTransientError(const std::exception& error) {
    const auto* known = dynamic_cast<const CError*>(&error);
    if (!known) {
        return false;
    }
    if (known->getProps().lookup(transientProperty) == "true") {
        return true;
    }
    if (known->getDomain() == "http") {
        return isTransientStatus(known->getCode()) || isTransientS3Code(known->getProps().lookup("s3-code"));
    }
    return known->getDomain() == "curl" && isTransientTransferError(*known);
}

CError makeTransientError(const String& message) {
    CProps props;
    props.add(transientProperty, "true");
    CError error(message, "", -1, props);
    error.setKind(ErrorKind::InvalidData);
    return error;
}

ErrorKind getKindOfHTTPStatus(int status) noexcept {
    switch (status) {
    case 401:
    case 407:
        return ErrorKind::Unauthenticated;
    case 403:
        return ErrorKind::PermissionDenied;
    case 404:
    case 410:
        return ErrorKind::NotFound;
    case 408:
        return ErrorKind::Timeout;
    case 409:
    case 412:
        return ErrorKind::Conflict;
    case 429:
        return ErrorKind::Throttled;
    case 507:
        return ErrorKind::StorageFull;
    default:
        break;
    }
    if (isTransientStatus(status) && status != 500) {
        return ErrorKind::Unavailable;
    }
    if (status < 300 || status > 599) {
        return ErrorKind::Other;
    }
    return status < 500 ? ErrorKind::Rejected : ErrorKind::Server;
}

}  // namespace vexil
