#pragma once

#include "vexil/mail/SMTPParams.h"

#include <string>

namespace vexil::app {

class CCommandSyntax;
class CCredentials;

/// The mail server that a command talks to, as options or the environment name it.
class CMailServerOptions {
public:
    /// Adds the options to a command.
    void define(CCommandSyntax& syntax);

    /// \throws CInvalidArgError where no server is named, or one that is none
    CSMTPParams makeParams(const CCredentials& login) const;

private:
    String getServer() const;
    CSMTPParams::ConnectType getSecurity() const;

    std::string m_server;
    std::string m_security = "starttls";
};

}  // namespace vexil::app
