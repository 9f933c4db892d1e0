#include "apps/vexil/Context.h"

#include "apps/vexil/Credentials.h"
#include "apps/vexil/Platform.h"
#include "apps/vexil/Text.h"

namespace vexil::app {

CContext::CContext(const COptions& options, CConsole& console) : m_options(options), m_console(console) {}

CRequestSetup& CContext::getSetup() {
    if (!m_setup) {
        m_setup = new CRequestSetup(m_options, m_console);
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
    request.setURL(String::fromUTF8(url));
    getSetup().setUp(request);
    return request;
}

CCountingS3Client& CContext::getClient() {
    if (!m_client) {
        const CCredentials credentials = loadCredentials();
        const P<CCountingS3Client> client =
            new CCountingS3Client(credentials.getAccessKey(), credentials.getSecretKey(), true);
        if (const String endpoint = getEndpoint(); !endpoint.isEmpty()) {
            try {
                client->setBaseURL(endpoint);
            } catch (const CInvalidArgError& error) {
                throw CInvalidArgError(error.getPlace(), "the endpoint '" + printable(endpoint) +
                                                             "' cannot be used: " + error.getMessage());
            }
        }
        client->setMaxRetries(m_options.retries);
        client->setRequestSetup(&getSetup());
        m_client = client;
    }
    return *m_client;
}

CCredentials CContext::loadCredentials() {
    if (m_options.credentialsFile.empty()) {
        return CCredentials::fromEnvironment();
    }
    const std::filesystem::path file = toPath(m_options.credentialsFile);
    if (isReadableByOthers(file)) {
        m_console.message(Verbosity::Warning, "vexil: warning: other users can read the credentials file '" +
                                                  describe(file) + "'. Forbid it: chmod 600");
    }
    return CCredentials::fromFile(file);
}

String CContext::getEndpoint() const {
    return String::fromUTF8(m_options.endpoint.empty()
                                ? getEnvironmentVariable("VEXIL_S3_ENDPOINT").value_or("")
                                : m_options.endpoint);
}

}  // namespace vexil::app
