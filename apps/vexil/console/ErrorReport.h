#pragma once

#include "vexil/BaseTypes.h"

#include <exception>

namespace vexil {
class CNetRequest;
}

namespace vexil::app {

/// Lays out a failure for the user: the message, every fact of the error object, and a hint.
class CErrorReport {
public:
    /// The error must outlive the report.
    /// \param hint  what the user can do; "" for nothing
    explicit CErrorReport(const std::exception& error, const String& hint = "");

    /// Adds facts that an error about the body of a response does not have: the request's URL, method and
    /// status line.
    void addRequest(const CNetRequest& request);

    /// Several lines, without a line end after the last one.
    String getText() const;
    /// In one line: the message, and the S3 code, the status or the FTP reply.
    String getLine() const;

private:
    String getMessage() const;
    String withoutLogins(const std::exception& error, const String& message) const;

    const std::exception& m_error;
    const CError* m_known;  // the same error; null if it is not one of the library
    String m_hint;
    CProps m_facts;
    int m_status = -1;
    int m_ftpReply = -1;
    String m_s3Code;
};

}  // namespace vexil::app
