#pragma once

#include "apps/vexil/base/ExitCode.h"
#include "vexil/BaseTypes.h"

#include <exception>

namespace vexil {
class CNetRequest;
}

namespace vexil::app {

class CMailError;

/// Tells a person what went wrong: the message, every fact that the error object has, and what can be done
/// about it.
class CErrorReport {
public:
    /// The error must outlive the report.
    explicit CErrorReport(const std::exception& error);

    /// Adds what an error does not know that comes from an answer's body: the request's URL, method and
    /// status line.
    void addRequest(const CNetRequest& request);

    /// Lines, without a line end behind the last one.
    String getText() const;
    /// Message and S3 code, status or the reply of an FTP server in one line.
    String getLine() const;
    ExitCode getExitCode() const;

    /// Whether every further request will fail in the same way: nothing answers, the credentials are not
    /// accepted, or there is no such bucket.
    bool isHopeless() const;
    /// Whether the server says that this is not allowed to the owner of these keys.
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
    const CError* m_known;     // the same, where it is one of the library's
    const CMailError* m_mail;  // the same, if it is about a mail; otherwise null
    CProps m_facts;
    int m_status = -1;
    int m_ftpReply = -1;
    String m_s3Code;
};

}  // namespace vexil::app
