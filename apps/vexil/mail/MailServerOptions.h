#pragma once

#include "vexil/mail/SMTPParams.h"

#include <string>

namespace vexil::app {

class CCommandSyntax;
class CCredentials;

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

}  // namespace vexil::app
