#pragma once

#include "vexil/mail/SMTPClient.h"

#include <functional>

namespace vexil::app {

class CContext;
class CMailDraft;
class CMailServerOptions;

/// The talk of one command with a mail server.
///
/// Failures of transfers are thrown as CMailErrors of the domain "curl" that have, beside all else, the server's own words
/// of refusal and the recipient that was refused.
class CMailSession {
public:
    /// Nothing is sent yet. The context must outlive it.
    CMailSession(CContext& context, const CMailServerOptions& server);
    CMailSession(const CMailSession&) = delete;
    CMailSession& operator=(const CMailSession&) = delete;

    void send(const CMailDraft& draft);
    /// Connects, secures the connection and logs in.
    /// \throws CError for a login if the server offers none, too
    void test();

    /// The server and how the last operation, which has succeeded, was secured, in one line.
    String describe() const;
    const CNetRequest& getRequest() const noexcept { return m_client.getRequest(); }

private:
    CMailSession(CContext& context, const CSMTPParams& params);
    void perform(const TArray<String>& recipients, const std::function<void()>& operation);
    bool isLoggedIn() const;
    /// Whether there is a login, which the server does not offer to take.
    bool isLoginSkipped() const;

    CContext& m_context;
    CSMTPParams m_params;
    CSMTPClient m_client;
};

}  // namespace vexil::app
