#include "apps/vexil/mail/MailServerOptions.h"

#include "apps/vexil/base/HostAndPort.h"
#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/session/Credentials.h"
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

}  // namespace vexil::app
