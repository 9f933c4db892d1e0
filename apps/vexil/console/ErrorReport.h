#pragma once

#include "apps/vexil/base/ExitCode.h"
#include "vexil/BaseTypes.h"

#include <exception>

namespace vexil {
class CNetRequest;
}

namespace vexil::app {

class CMailError;

/// Explains a failure to the user: the message, every fact of the error object, and what the user can do
/// about it.
class CErrorReport {
public:
    /// The error must outlive the report.
    explicit CErrorReport(const std::exception& error);

    /// Adds facts that an error about the body of a response does not have: the request's URL, method and
    /// status line.
    void addRequest(const CNetRequest& request);

    /// Several lines, without a line end after the last one.
    String getText() const;
    /// In one line: the message, and the S3 code, the status or the FTP reply.
    String getLine() const;
    ExitCode getExitCode() const;

    /// Whether every further request will fail in the same way: no server responds, the credentials are
    /// refused, or the bucket does not exist.
    bool isHopeless() const;
    /// Whether the server refuses this to the owner of the keys.
    bool isAccessDenied() const;

private:
    String getHint() const;
    String getMessage() const;
    String withoutLogins(const std::exception& error, const String& message) const;
    String getHintForFTP() const;
    static String getHintForRefusedConnection();
    bool isConnectionRefused() const;
    bool isLoginRefused() const;
    bool isProxyLoginMissing() const;
    bool isMissing() const;
    bool isRedirect() const;
    String getHintForMail() const;

    const std::exception& m_error;
    const CError* m_known;     // the same error, if it is one of the library's; otherwise null
    const CMailError* m_mail;  // the same, if it is about a mail; otherwise null
    CProps m_facts;
    int m_status = -1;
    int m_ftpReply = -1;
    String m_s3Code;
};

}  // namespace vexil::app
