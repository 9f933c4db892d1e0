#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/mail/Commands.h"
#include "apps/vexil/mail/MailServerOptions.h"
#include "apps/vexil/mail/MailSession.h"
#include "apps/vexil/session/Session.h"

namespace vexil::app {

namespace {

class CMailTestCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    CMailServerOptions m_server;
};

void CMailTestCommand::define(CCommandSyntax& syntax) {
    syntax.command("test", "Connect to a mail server and log in");
    m_server.define(syntax);
    syntax.footer(R"(Example:
  vexil mail test --server mail.example.com --security ssl)");
}

ExitCode CMailTestCommand::run(CSession& session) {
    CMailSession mail(session, m_server);
    mail.test();
    session.getConsole().print(mail.describe());
    return ExitCode::Done;
}

}  // namespace

std::unique_ptr<CCommand> makeMailTest() {
    return std::make_unique<CMailTestCommand>();
}

}  // namespace vexil::app
