#include "apps/vexil/ftp/FTPDiagnosis.h"

#include "apps/vexil/ftp/FTPReplies.h"
#include "apps/vexil/session/TransferDiagnosis.h"

namespace vexil::app {

namespace {

constexpr int replyServiceNotAvailable = 421;
constexpr int replyNoRoom = 452;
constexpr int replyUnknownCommand = 500;
constexpr int replyCommandNotImplemented = 502;
constexpr int replyNotLoggedIn = 530;
constexpr int replyQuotaExceeded = 552;

int getReply(const CError& error) {
    const CProps& facts = error.getProps();
    return CCURLError::getResponseCodeDomain(facts) == "ftp" ? CCURLError::getResponseCode(facts) : -1;
}

// If a login has worked before, that decides. At the first login there are only the server's words.
bool isConnectionRefused(const CError& error, int reply) {
    if (dynamic_cast<const CRefusedConnectionError*>(&error) || reply == replyServiceNotAvailable) {
        return true;
    }
    const String words = error.getProps().lookup("serverMessage").toLower();
    return reply == replyNotLoggedIn &&
           (words.find("too many") != String::npos || words.find("maximum") != String::npos);
}

DiagnosisKind findKind(const CError& error, int reply) {
    const CErrorDiagnosis general = diagnoseTransfer(error);
    if (general.kind == DiagnosisKind::Usage || general.kind == DiagnosisKind::Missing) {
        return general.kind;
    }
    if (isConnectionRefused(error, reply)) {
        return DiagnosisKind::Unavailable;
    }
    return reply == replyNotLoggedIn ? DiagnosisKind::LoginRefused : general.kind;
}

String getHintForTransfer(int64 code) {
    switch (code) {
    case CURLE_USE_SSL_FAILED:
        return "The server offers no TLS on this port. Try --tls implicit, usually on port 990. "
               "With --tls none others on the network can read the password and all files.";
    case CURLE_SSL_CONNECT_ERROR:
        return "The server has ended the data connection before it was encrypted: "
               "it may refuse this file.";
    case CURLE_UPLOAD_FAILED:
        return "Check that the directory exists (put makes it with --parents), "
               "and that this user may write to it.";
    default:
        return getHintForCurl(code);
    }
}

String getHintByReply(const CError& error, int reply) {
    if (reply == replyNoRoom || reply == replyQuotaExceeded) {
        return "There is no room left on the server, or this user has reached a quota. Make room there.";
    }
    const bool isUnknown = reply == replyUnknownCommand || reply == replyCommandNotImplemented;
    if (isUnknown && error.getDomain() == "curl" && error.getCode() != CURLE_USE_SSL_FAILED) {
        return "The server does not know the command. "
               "Without MLST and MLSD (RFC 3659) "
               "only get, put, backup, mkdir, rm, rmdir and mv work with it.";
    }
    return String();
}

String findHint(const CError& error, int reply, DiagnosisKind kind) {
    if (isConnectionRefused(error, reply)) {
        return "The server accepts no further connection for now. "
               "Try again later, with fewer --jobs, or end other programs that use it.";
    }
    if (kind == DiagnosisKind::LoginRefused) {
        return "Check VEXIL_FTP_USER and VEXIL_FTP_PASSWORD, or the file of --credentials.";
    }
    if (const String hint = getHintByReply(error, reply); !hint.isEmpty()) {
        return hint;
    }
    if (kind == DiagnosisKind::Missing) {
        return "List the directory with: vexil ftp ls DIRECTORY";
    }
    if (error.getDomain() == "curl" &&
        (error.getCode() != CURLE_SSL_CONNECT_ERROR || isBrokenDataHandshake(error))) {
        return getHintForTransfer(error.getCode());
    }
    return String();
}

}  // namespace

P<CError> CRefusedConnectionError::clone() const {
    return new CRefusedConnectionError(*this);
}

void CRefusedConnectionError::throwClone() const {
    throw CRefusedConnectionError(*this);
}

std::optional<CErrorDiagnosis> findFTPDiagnosis(const CError& error) {
    const int reply = getReply(error);
    if (reply < 1 && !isConnectionRefused(error, reply)) {
        return std::nullopt;
    }
    const DiagnosisKind kind = findKind(error, reply);
    return CErrorDiagnosis{kind, findHint(error, reply, kind)};
}

CErrorDiagnosis diagnoseFTP(const CError& error) {
    const auto diagnosis = findFTPDiagnosis(error);
    return diagnosis ? *diagnosis : diagnoseTransfer(error);
}

}  // namespace vexil::app
