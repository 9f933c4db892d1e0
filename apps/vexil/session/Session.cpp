#include "apps/vexil/session/Session.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/platform/Platform.h"
#include "apps/vexil/session/Credentials.h"

namespace vexil::app {

CSession::CSession(const COptions& options, CConsole& console, CVerboseLogFile* verboseLog)
    : m_options(options), m_console(console), m_verboseLog(verboseLog) {}

CRequestSetup& CSession::getSetup() {
    if (!m_setup) {
        m_setup = new CRequestSetup(m_options, m_console, m_verboseLog);
    }
    return *m_setup;
}

CNetRequest& CSession::getRequest() {
    if (!m_request) {
        m_request = new CNetRequest;
    }
    return *m_request;
}

bool CSession::hasCredentials(const CCredentialNames& names) const {
    return m_options.hasCredentialsSource() || CCredentials::areInEnvironment(names);
}

CCredentials CSession::loadCredentials(const CCredentialNames& names) {
    if (!m_options.hasCredentialsSource()) {
        return CCredentials::fromEnvironment(names);
    }
    if (!m_options.credentialsCommand.empty()) {
        return CCredentials::fromCommand(m_options.credentialsCommand, names);
    }
    const std::filesystem::path file = toPath(m_options.credentialsFile);
    if (isReadableByOthers(file)) {
        m_console.message(Verbosity::Warning, "vexil: warning: other users can read the credentials file '" +
                                                  describe(file) + "'. Correct this with: chmod 600");
    }
    return CCredentials::fromFile(file, names);
}

}  // namespace vexil::app
