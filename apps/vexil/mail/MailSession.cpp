#include "apps/vexil/mail/MailSession.h"

#include "apps/vexil/base/HostAndPort.h"
#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/mail/MailDraft.h"
#include "apps/vexil/mail/MailRefusal.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/session/Credentials.h"
#include "apps/vexil/session/Session.h"
#include "apps/vexil/session/Setting.h"

namespace vexil::app {

namespace {

constexpr const char* serverVariable = "VEXIL_MAIL_SERVER";
constexpr const char* place = "CMailServerOptions";

// The ports of mail servers for each kind of security (RFC 5321, 6409, 8314).
int getDefaultPort(CSMTPParams::ConnectType security) {
    switch (security) {
    case CSMTPParams::ConnectUnencrypted:
        return 25;
    case CSMTPParams::ConnectSSL:
        return 465;
    case CSMTPParams::ConnectStartTLS:
        return 587;
    }
    return 0;
}

constexpr CCredentialNames credentialNames = {"VEXIL_MAIL_USER", "VEXIL_MAIL_PASSWORD", "user", "password"};

constexpr int loginAcceptedCode = 235;
constexpr const char* noLogin = "The server offers no login on this connection.";

// Many servers want no login.
CCredentials loadLogin(CSession& session) {
    refuseUnknownProfile(session.getOptions());
    return session.hasCredentials(credentialNames) ? session.loadCredentials(credentialNames)
                                                   : CCredentials(String(), String());
}

}  // namespace

void CMailServerOptions::define(CCommandSyntax& syntax) {
    syntax
        .option(
            "--server", "HOST[:PORT]", m_server,
            "The mail server (default: the environment's VEXIL_MAIL_SERVER; without a port 587, 465 or 25, "
            "depending on --security)")
        .option(
            "--security", "KIND", m_security,
            "starttls (default), ssl (TLS from the first byte) or unencrypted: then others on the network "
            "can read the password and the mail");
}

CSMTPParams CMailServerOptions::makeParams(const CCredentials& login) const {
    const CHostAndPort server = CHostAndPort::parse(getServer());
    const CSMTPParams::ConnectType security = getSecurity();
    return {server.host, server.port ? server.port : getDefaultPort(security), security, login.getName(),
            login.getSecret()};
}

String CMailServerOptions::getServer() const {
    const std::string server = findSetting(m_server, serverVariable).value_or("");
    if (server.empty()) {
        throw CInvalidArgError(place,
                               String("there is no mail server: give --server or set ") + serverVariable);
    }
    return String::fromUTF8Lossy(server);
}

CSMTPParams::ConnectType CMailServerOptions::getSecurity() const {
    const String name = String::fromUTF8Lossy(m_security);
    try {
        return CSMTPParams::connectTypeToInt(name);
    } catch (const CInvalidArgError&) {
        throw CInvalidArgError(place, "--security must be starttls, ssl or unencrypted, not '" +
                                          printable(name) + "'");
    }
}

CMailSession::CMailSession(CSession& session, const CMailServerOptions& server)
    : CMailSession(session, server.makeParams(loadLogin(session))) {}

CMailSession::CMailSession(CSession& session, const CSMTPParams& params)
    : m_session(session), m_params(params), m_client(params) {
    // This also makes libcurl check the certificate.
    m_client.setRequestSetup(&session.getSetup());
}

void CMailSession::send(const CMailDraft& draft) {
    const P<CMimeMessage> message = draft.makeMessage();
    perform(draft.getRecipients(),
            [&] { m_client.sendMail(draft.getSender(), draft.getRecipients(), *message); });
    if (isLoginSkipped()) {
        m_session.getConsole().message(Verbosity::Warning,
                                       String("vexil: warning: ") + noLogin + " It has accepted the mail.");
    }
}

void CMailSession::test() {
    perform({}, [this] { m_client.testConnection(); });
    if (isLoginSkipped()) {
        throw CError(noLogin);
    }
}

void CMailSession::perform(const TArray<String>& recipients, const std::function<void()>& operation) {
    try {
        operation();
    } catch (const CCURLError& error) {
        const bool mayHaveBeenSent = m_client.mayHaveBeenSent();
        if (mayHaveBeenSent && CInterrupt::isRequested()) {
            m_session.getConsole().message(Verbosity::Error, "vexil: the server may have accepted the mail");
        }
        throw makeMailError(error, m_client.getRequest().getReplies(), recipients, mayHaveBeenSent);
    }
}

bool CMailSession::isLoggedIn() const {
    return !getReply(m_client.getRequest().getReplies(), loginAcceptedCode).isEmpty();
}

bool CMailSession::isLoginSkipped() const {
    return !m_params.getLoginName().isEmpty() && !isLoggedIn();
}

String CMailSession::describe() const {
    String text = printable(m_params.getHost()) + ":" + String::fromInt(m_params.getPort()) + ": ";
    text += CSMTPParams::connectTypeToString(m_params.getConnectType());
    if (m_params.getConnectType() != CSMTPParams::ConnectUnencrypted) {
        text +=
            m_session.getSetup().checksCertificates() ? ", certificate checked" : ", certificate not checked";
    }
    return text + (isLoggedIn() ? ", logged in as " + printable(m_params.getLoginName()) : ", no login");
}

}  // namespace vexil::app
