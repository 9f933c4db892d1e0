#include "apps/vexil/session/Context.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/ErrorReport.h"
#include "apps/vexil/platform/Platform.h"
#include "apps/vexil/session/Credentials.h"
#include "vexil/net/URLRedaction.h"

#include <cmath>
#include <cstdlib>

namespace vexil::app {

namespace {

// A longer pause is reported if the user sees no other progress.
constexpr CPatience::Milliseconds longPause(5000);
// For tests, which must not wait for minutes.
constexpr const char* pauseFactorVariable = "VEXIL_TEST_PAUSE_FACTOR";

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

// Otherwise libcurl guesses a scheme, and the rules for proxies do not apply.
String withScheme(const String& url) {
    const std::size_t end =
        url.view().find_first_not_of(L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+-.");
    return end != String::npos && end > 0 && url.substr(end, 2) == ":/" ? url : "http://" + url;
}

}  // namespace

CContext::CContext(const COptions& options, CConsole& console, CVerboseLogFile* verboseLog)
    : m_options(options), m_console(console), m_verboseLog(verboseLog) {}

CRequestSetup& CContext::getSetup() {
    if (!m_setup) {
        m_setup = new CRequestSetup(m_options, m_console, m_verboseLog);
    }
    return *m_setup;
}

CNetRequest& CContext::getRequest() {
    if (!m_request) {
        m_request = new CNetRequest;
    }
    return *m_request;
}

CNetRequest& CContext::prepareHTTPRequest(const std::string& url) {
    CNetRequest& request = getRequest();
    request.setURL(withScheme(String::fromUTF8(url)));
    getSetup().setUp(request);
    return request;
}

CPatientS3Client& CContext::getClient() {
    if (!m_client) {
        const CCredentials credentials = loadCredentials(CCredentials::s3);
        auto& policy = static_cast<CS3TransferPolicy&>(getS3Policy());
        const P<CPatientS3Client> client =
            new CPatientS3Client(credentials.getName(), credentials.getSecret(), true, policy);
        if (const String endpoint = getEndpoint(); !endpoint.isEmpty()) {
            try {
                client->setBaseURL(endpoint);
            } catch (const CInvalidArgError& error) {
                throw CInvalidArgError(error.getPlace(), "the endpoint '" + printable(redactURL(endpoint)) +
                                                             "' cannot be used: " + error.getMessage());
            }
        }
        client->setRequestSetup(&getSetup());
        m_client = client;
    }
    return *m_client;
}

ITransferPolicy& CContext::getS3Policy() {
    if (!m_s3Policy) {
        m_s3Policy = std::make_unique<CS3TransferPolicy>(*getPatience());
    }
    return *m_s3Policy;
}

const std::shared_ptr<CPatience>& CContext::getPatience() {
    if (!m_patience) {
        m_patience = std::make_shared<CPatience>(makePatienceSettings());
    }
    return m_patience;
}

CPatience::Settings CContext::makePatienceSettings() {
    CPatience::Settings settings;
    settings.maxRetries = m_options.retries;
    if (m_options.patienceSeconds) {
        settings.limit = CPatience::Milliseconds(std::llround(*m_options.patienceSeconds * 1000));
        settings.firstLimit = settings.limit;
    }
    if (const auto factor = getEnvironmentVariable(pauseFactorVariable)) {
        settings.pauseFactor = std::strtod(factor->c_str(), nullptr);
    }
    settings.onPause = [&console = m_console](const CError& error, int tries, CPatience::Milliseconds pause) {
        console.message(pause < longPause ? Verbosity::Info : Verbosity::Warning,
                        "vexil: " + CErrorReport(error).getLine() + " (try " + String::fromInt(tries) +
                            "); trying again in " +
                            formatSeconds(std::chrono::duration<double>(pause).count()));
    };
    return settings;
}

CFTPSession& CContext::getFTP() {
    if (!m_ftp) {
        const String server = getFTPServer();
        const CCredentials credentials = loadCredentials(CCredentials::ftp);
        CFTPClient client(server, credentials.getName(), credentials.getSecret(),
                          toConnectType(m_options.ftpSecurity));
        client.setPathEncoding(CFTPClient::PathPercentEncode);
        client.setMaxTLSVersion(m_options.ftpMaxTLS == FTPMaxTLS::TLS13 ? TLSVersion1_3 : TLSVersion1_2);
        m_ftp = std::make_unique<CFTPSession>(client, getSetup(), getRequest(), getPatience());
    }
    return *m_ftp;
}

CCredentials CContext::loadMailLogin() {
    if (m_options.credentialsFile.empty() && !CCredentials::areInEnvironment(CCredentials::mail)) {
        return {String(), String()};
    }
    return loadCredentials(CCredentials::mail);
}

CCredentials CContext::loadCredentials(const CCredentialNames& names) {
    if (m_options.credentialsFile.empty()) {
        return CCredentials::fromEnvironment(names);
    }
    const std::filesystem::path file = toPath(m_options.credentialsFile);
    if (isReadableByOthers(file)) {
        m_console.message(Verbosity::Warning, "vexil: warning: other users can read the credentials file '" +
                                                  describe(file) + "'. Forbid it: chmod 600");
    }
    return CCredentials::fromFile(file, names);
}

String CContext::getEndpoint() const {
    if (!m_options.endpoint.empty()) {
        return String::fromUTF8(m_options.endpoint);
    }
    const auto endpoint = getEnvironmentVariable("VEXIL_S3_ENDPOINT");
    // An empty value usually comes from a script that lost it: without an endpoint the data would go to
    // Amazon.
    if (endpoint && endpoint->empty()) {
        throw CInvalidArgError("CContext",
                               "VEXIL_S3_ENDPOINT is set to an empty value. Unset it to use Amazon's server");
    }
    return String::fromUTF8(endpoint.value_or(""));
}

String CContext::getFTPServer() const {
    const String server =
        String::fromUTF8(m_options.ftpServer.empty() ? getEnvironmentVariable("VEXIL_FTP_SERVER").value_or("")
                                                     : m_options.ftpServer);
    if (server.isEmpty()) {
        throw CInvalidArgError(
            "CContext", "there is no FTP server: name it with --server HOST[:PORT] or in VEXIL_FTP_SERVER");
    }
    // It becomes part of URLs.
    if (server.view().find_first_of(L"/@?#% \t") != std::wstring_view::npos) {
        throw CInvalidArgError("CContext", "the FTP server '" + printable(redactURL(server)) +
                                               "' is no HOST or HOST:PORT");
    }
    return server;
}

}  // namespace vexil::app
