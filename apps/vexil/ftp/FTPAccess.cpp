#include "apps/vexil/ftp/FTPAccess.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/session/Credentials.h"
#include "apps/vexil/session/Setting.h"
#include "apps/vexil/transfer/Retry.h"
#include "vexil/net/URLRedaction.h"

namespace vexil::app {

namespace {

CFTPClient::ConnectType toConnectType(FTPSecurity security) {
    switch (security) {
    case FTPSecurity::None:
        return CFTPClient::ConnectPlain;
    case FTPSecurity::Implicit:
        return CFTPClient::ConnectImplicitTLS;
    default:
        return CFTPClient::ConnectExplicitTLS;
    }
}

CFTPServer findServer(const COptions& options) {
    const String server = String::fromUTF8(findSetting(options.ftpServer, "VEXIL_FTP_SERVER").value_or(""));
    if (server.isEmpty()) {
        throw CInvalidArgError("CFTPAccess",
                               "there is no FTP server: give --server HOST[:PORT] or set VEXIL_FTP_SERVER");
    }
    return {server, options.ftpSecurity};
}

// It becomes part of URLs.
void checkServer(const String& server) {
    if (server.view().find_first_of(L"/@?#% \t") != std::wstring_view::npos) {
        throw CInvalidArgError("CFTPAccess", "the FTP server '" + printable(redactURL(server)) +
                                                 "' is not HOST or HOST:PORT");
    }
}

CFTPClient makeClient(CSession& session, const std::optional<CFTPServer>& chosen) {
    const COptions& options = session.getOptions();
    refuseUnknownProfile(options);
    const CFTPServer server = chosen ? *chosen : findServer(options);
    checkServer(server.name);
    const CCredentials credentials = session.loadCredentials(CFTPAccess::credentialNames);
    CFTPClient client(server.name, credentials.getName(), credentials.getSecret(),
                      toConnectType(server.security));
    client.setPathEncoding(CFTPClient::PathPercentEncode);
    client.setMaxTLSVersion(options.ftpMaxTLS == FTPMaxTLS::TLS13 ? TLSVersion1_3 : TLSVersion1_2);
    return client;
}

}  // namespace

const CCredentialNames CFTPAccess::credentialNames = {"VEXIL_FTP_USER", "VEXIL_FTP_PASSWORD", "user",
                                                      "password"};

CFTPAccess::CFTPAccess(CSession& session, const std::optional<CFTPServer>& server)
    // In braces, so that a missing server is reported before bad certificates.
    : m_session(session), m_ftp{makeClient(session, server), session.getSetup(), session.getRequest(),
                                std::make_shared<CRetryPolicy>(makeRetrySettings(session))} {}

}  // namespace vexil::app
