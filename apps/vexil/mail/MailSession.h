#pragma once

#include "vexil/mail/SMTPClient.h"
#include "vexil/mail/SMTPParams.h"

#include <functional>
#include <string>

namespace vexil::app {

class CCommandSyntax;
class CCredentials;
class CMailDraft;
class CSession;

/// The mail server of a command, from its options or the environment.
class CMailServerOptions {
public:
    /// Adds the options to a command.
    void define(CCommandSyntax& syntax);

    /// \throws CInvalidArgError if no server is named, or the name is invalid
    CSMTPParams makeParams(const CCredentials& login) const;

private:
    String getServer() const;
    CSMTPParams::ConnectType getSecurity() const;

    std::string m_server;
    std::string m_security = "starttls";
};

/// The session of one command with a mail server.
///
/// A failed transfer is thrown as a CMailError of the domain "curl". It also contains the server's refusal
/// and the refused recipient.
class CMailSession {
public:
    /// Sends nothing yet. The session must outlive it.
    CMailSession(CSession& session, const CMailServerOptions& server);
    CMailSession(const CMailSession&) = delete;
    CMailSession& operator=(const CMailSession&) = delete;

    void send(const CMailDraft& draft);
    /// Connects, secures the connection and logs in.
    /// \throws CError also if a login is set and the server offers none
    void test();

    /// In one line: the server, and how the last successful operation was secured.
    String describe() const;
    const CNetRequest& getRequest() const noexcept { return m_client.getRequest(); }

private:
    CMailSession(CSession& session, const CSMTPParams& params);
    void perform(const TArray<String>& recipients, const std::function<void()>& operation);
    bool isLoggedIn() const;
    /// Whether a login is set that the server does not offer to accept.
    bool isLoginSkipped() const;

    CSession& m_session;
    CSMTPParams m_params;
    CSMTPClient m_client;
};

}  // namespace vexil::app
