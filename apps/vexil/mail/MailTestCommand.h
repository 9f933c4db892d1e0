#pragma once

#include "apps/vexil/command/Command.h"
#include "apps/vexil/mail/MailServerOptions.h"

namespace vexil::app {

/// `vexil mail test`: whether a mail server can be reached and accepts the login.
class CMailTestCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CContext& context) override;

private:
    CMailServerOptions m_server;
};

}  // namespace vexil::app
