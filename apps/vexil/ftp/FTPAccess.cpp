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

String findServer(const COptions& options) {
    const String server = String::fromUTF8(findSetting(options.ftpServer, "VEXIL_FTP_SERVER").value_or(""));
    if (server.isEmpty()) {
        throw CInvalidArgError("CFTPAccess",
                               "there is no FTP server: give --server HOST[:PORT] or set VEXIL_FTP_SERVER");
    }
    // It becomes part of URLs.
    if (server.view().find_first_of(L"/@?#% \t") != std::wstring_view::npos) {
        throw CInvalidArgError("CFTPAccess", "the FTP server '" + printable(redactURL(server)) +
                                                 "' is not HOST or HOST:PORT");
    }
    return server;
}

CFTPClient makeClient(CSession& session) {
    const COptions& options = session.getOptions();
    const String server = findServer(options);
    const CCredentials credentials = session.loadCredentials(CFTPAccess::credentialNames);
    CFTPClient client(server, credentials.getName(), credentials.getSecret(),
                      toConnectType(options.ftpSecurity));
    client.setPathEncoding(CFTPClient::PathPercentEncode);
    client.setMaxTLSVersion(options.ftpMaxTLS == FTPMaxTLS::TLS13 ? TLSVersion1_3 : TLSVersion1_2);
    return client;
}

}  // namespace

const CCredentialNames CFTPAccess::credentialNames = {"VEXIL_FTP_USER", "VEXIL_FTP_PASSWORD", "user",
                                                      "password"};

CFTPAccess::CFTPAccess(CSession& session)
    // In braces, so that a missing server is reported before bad certificates.
    : m_session(session), m_ftp{makeClient(session), session.getSetup(), session.getRequest(),
                                std::make_shared<CRetryPolicy>(makeRetrySettings(session))} {}

}  // namespace vexil::app
