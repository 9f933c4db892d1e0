#include "vexil/net/TransferErrorKind.h"

#include "vexil/net/CURLError.h"
#include "vexil/net/ErrorClassification.h"

#include <string_view>

namespace vexil {

namespace {

using zet::ErrorKind;

constexpr int replyServiceNotAvailable = 421;
constexpr int replyFileUnavailable = 550;
// Codes of later versions of libcurl.
constexpr int codeTooLarge = 100;
constexpr int codeECHRequired = 101;

/// The number in the first three characters; -1 if they are not digits.
int readStatus(std::wstring_view text) {
    int number = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        if (i >= text.size() || text[i] < L'0' || text[i] > L'9') {
            return -1;
        }
        number = number * 10 + (text[i] - L'0');
    }
    return number;
}

// A table with one code a line.
// NOLINTNEXTLINE(readability-function-size)
ErrorKind findKindOfCode(int64 code) {
    switch (code) {
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_URL_MALFORMAT:
    case CURLE_NOT_BUILT_IN:
    case CURLE_BAD_FUNCTION_ARGUMENT:
    case CURLE_UNKNOWN_OPTION:
    case CURLE_SETOPT_OPTION_SYNTAX:
    case CURLE_RECURSIVE_API_CALL:
    case codeTooLarge:
        return ErrorKind::InvalidArgument;
    case CURLE_OUT_OF_MEMORY:
        return ErrorKind::OutOfMemory;
    case CURLE_ABORTED_BY_CALLBACK:
        return ErrorKind::Cancelled;
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_CONNECT:
    case CURLE_FTP_ACCEPT_FAILED:
    case CURLE_FTP_CANT_GET_HOST:
    case CURLE_HTTP2:
    case CURLE_PARTIAL_FILE:
    case CURLE_FTP_PORT_FAILED:
    case CURLE_INTERFACE_FAILED:
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_NO_CONNECTION_AVAILABLE:
    case CURLE_HTTP2_STREAM:
    case CURLE_HTTP3:
    case CURLE_QUIC_CONNECT_ERROR:
    case CURLE_PROXY:
        return ErrorKind::Network;
    case CURLE_FTP_ACCEPT_TIMEOUT:
    case CURLE_OPERATION_TIMEDOUT:
        return ErrorKind::Timeout;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_ENGINE_NOTFOUND:
    case CURLE_SSL_ENGINE_SETFAILED:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_USE_SSL_FAILED:
    case CURLE_SSL_ENGINE_INITFAILED:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_SHUTDOWN_FAILED:
    case CURLE_SSL_CRL_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
    case CURLE_SSL_INVALIDCERTSTATUS:
    case CURLE_SSL_CLIENTCERT:
    case codeECHRequired:
        return ErrorKind::TLS;
    case CURLE_LOGIN_DENIED:
    case CURLE_AUTH_ERROR:
        return ErrorKind::Unauthenticated;
    case CURLE_REMOTE_ACCESS_DENIED:
    case CURLE_TFTP_PERM:
        return ErrorKind::PermissionDenied;
    case CURLE_TFTP_NOTFOUND:
    case CURLE_REMOTE_FILE_NOT_FOUND:
        return ErrorKind::NotFound;
    case CURLE_REMOTE_FILE_EXISTS:
        return ErrorKind::Conflict;
    case CURLE_REMOTE_DISK_FULL:
        return ErrorKind::StorageFull;
    case CURLE_FTP_COULDNT_SET_TYPE:
    case CURLE_FTP_COULDNT_RETR_FILE:
    case CURLE_QUOTE_ERROR:
    case CURLE_HTTP_RETURNED_ERROR:
    case CURLE_UPLOAD_FAILED:
    case CURLE_FTP_COULDNT_USE_REST:
    case CURLE_RANGE_ERROR:
    case CURLE_BAD_DOWNLOAD_RESUME:
    case CURLE_TOO_MANY_REDIRECTS:
    case CURLE_FTP_PRET_FAILED:
        return ErrorKind::Rejected;
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_FTP_WEIRD_PASS_REPLY:
    case CURLE_FTP_WEIRD_PASV_REPLY:
    case CURLE_FTP_WEIRD_227_FORMAT:
    case CURLE_BAD_CONTENT_ENCODING:
    case CURLE_RTSP_CSEQ_ERROR:
    case CURLE_RTSP_SESSION_ERROR:
    case CURLE_FTP_BAD_FILE_LIST:
        return ErrorKind::InvalidData;
    default:
        return ErrorKind::Other;
    }
}

ErrorKind findKindOfMultiCode(int64 code) {
    switch (code) {
    case CURLM_OUT_OF_MEMORY:
        return ErrorKind::OutOfMemory;
    case CURLM_BAD_HANDLE:
    case CURLM_BAD_EASY_HANDLE:
    case CURLM_BAD_SOCKET:
    case CURLM_UNKNOWN_OPTION:
    case CURLM_ADDED_ALREADY:
    case CURLM_RECURSIVE_API_CALL:
    case CURLM_BAD_FUNCTION_ARGUMENT:
        return ErrorKind::InvalidArgument;
    case CURLM_ABORTED_BY_CALLBACK:
        return ErrorKind::Cancelled;
    default:
        return ErrorKind::Other;
    }
}

// RFC 959, 4.2.1; RFC 4217, 10. 550 is the reply for a missing file, but also for a forbidden one.
ErrorKind findKindOfFTPReply(int reply) {
    switch (reply) {
    case 425:
    case 426:
        return ErrorKind::Network;
    case 530:
    case 532:
        return ErrorKind::Unauthenticated;
    case 452:
    case 552:
        return ErrorKind::StorageFull;
    case 451:
        return ErrorKind::Server;
    default:
        return reply < 500 ? ErrorKind::Unavailable : ErrorKind::Rejected;
    }
}

// RFC 5321, 4.2.3; RFC 4954, 6.
ErrorKind findKindOfMailReply(int reply) {
    switch (reply) {
    case 432:
    case 530:
    case 534:
    case 535:
    case 538:
        return ErrorKind::Unauthenticated;
    case 452:
    case 552:
        return ErrorKind::StorageFull;
    case 451:
        return ErrorKind::Server;
    default:
        return reply < 500 ? ErrorKind::Unavailable : ErrorKind::Rejected;
    }
}

/// The kind of the response of a server; Other if it does not explain the error.
ErrorKind findKindOfResponse(int64 curlCode, const CProps& props) {
    const String domain = CCURLError::getResponseCodeDomain(props);
    const int code = CCURLError::getResponseCode(props);
    if (domain == "http") {
        return code >= 400 || curlCode == CURLE_HTTP_RETURNED_ERROR ? getKindOfHTTPStatus(code)
                                                                    : ErrorKind::Other;
    }
    if (code < 400 || code > 599) {
        return ErrorKind::Other;
    }
    if (domain == "smtp") {
        return findKindOfMailReply(code);
    }
    // After an interrupted transfer the last reply may belong to a command that may fail, such as SIZE.
    const bool isStale =
        curlCode == CURLE_OPERATION_TIMEDOUT || curlCode == CURLE_GOT_NOTHING || curlCode == CURLE_RECV_ERROR;
    const bool isReply = domain == "ftp" && (!isStale || code == replyServiceNotAvailable);
    return isReply ? findKindOfFTPReply(code) : ErrorKind::Other;
}

/// A proxy speaks of itself: a 404 does not mean that a file does not exist.
ErrorKind findKindOfTunnelStatus(int status) {
    const ErrorKind kind = getKindOfHTTPStatus(status);
    return kind == ErrorKind::Unauthenticated || kind == ErrorKind::PermissionDenied ||
                   kind == ErrorKind::Throttled || kind == ErrorKind::Unavailable
               ? kind
               : ErrorKind::Network;
}

/// True if a response of the server does not tell more than libcurl's code.
bool decides(int64 curlCode, const CProps& props) {
    const int response = CCURLError::getResponseCode(props);
    switch (findKindOfCode(curlCode)) {
    case ErrorKind::InvalidArgument:
    case ErrorKind::OutOfMemory:
    case ErrorKind::Cancelled:
    case ErrorKind::TLS:
        return true;
    case ErrorKind::NotFound:
        return response < 400 || response == replyFileUnavailable;
    case ErrorKind::Unauthenticated:
        // Some servers refuse a further connection at the login.
        return response != replyServiceNotAvailable;
    default:
        return curlCode == CURLE_COULDNT_RESOLVE_PROXY || curlCode == CURLE_COULDNT_RESOLVE_HOST ||
               curlCode == CURLE_COULDNT_CONNECT;
    }
}

}  // namespace

int findTunnelStatus(const CError& error) {
    // Until the server responds, the HTTP status line is the proxy's. For other protocols the status is only
    // in libcurl's text.
    if (error.getCode() != CURLE_RECV_ERROR || CCURLError::getResponseCode(error.getProps()) > 0) {
        return -1;
    }
    static constexpr std::wstring_view intro = L"CONNECT tunnel failed, response ";
    const std::wstring_view text = error.getMessage().view();
    if (const auto at = text.find(intro); at != text.npos) {
        return readStatus(text.substr(at + intro.size()));
    }
    const String line = error.getProps().lookup("httpStatusLine");
    const auto separator = line.find(L' ');
    return separator == String::npos ? -1 : readStatus(line.view().substr(separator + 1));
}

ErrorKind findTransferErrorKind(const CError& error) {
    const int64 code = error.getCode();
    if (error.getDomain() == "curlm") {
        return findKindOfMultiCode(code);
    }
    if (decides(code, error.getProps())) {
        return findKindOfCode(code);
    }
    if (const int status = findTunnelStatus(error); status >= 300) {
        return findKindOfTunnelStatus(status);
    }
    const ErrorKind kind = findKindOfResponse(code, error.getProps());
    return kind == ErrorKind::Other ? findKindOfCode(code) : kind;
}

}  // namespace vexil
