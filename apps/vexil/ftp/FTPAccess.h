#pragma once

#include "apps/vexil/ftp/FTPSession.h"
#include "apps/vexil/session/Session.h"

#include <optional>

namespace vexil::app {

struct CCredentialNames;

/// The FTP server of a destination.
struct CFTPServer {
    String name;  ///< host, optionally with a port
    FTPSecurity security = FTPSecurity::Explicit;
};

/// An FTP server as the commands use it: the operations on it, and the session that they belong to. One
/// thread.
class CFTPAccess {
public:
    /// VEXIL_FTP_USER and VEXIL_FTP_PASSWORD, or "user=..." and "password=...".
    static const CCredentialNames credentialNames;

    /// Sends nothing. The session must outlive it.
    /// \param server  nullopt for the one of the options, or the environment
    /// \throws CInvalidArgError if credentials are missing, or if the server is missing or not one
    explicit CFTPAccess(CSession& session, const std::optional<CFTPServer>& server = std::nullopt);
    CFTPAccess(const CFTPAccess&) = delete;
    CFTPAccess& operator=(const CFTPAccess&) = delete;

    CSession& getSession() noexcept { return m_session; }
    CConsole& getConsole() noexcept { return m_session.getConsole(); }
    CFTPSession& getFTP() noexcept { return m_ftp; }

private:
    CSession& m_session;
    CFTPSession m_ftp;
};

}  // namespace vexil::app
