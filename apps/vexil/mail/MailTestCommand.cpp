#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/mail/Commands.h"
#include "apps/vexil/mail/MailServerOptions.h"
#include "apps/vexil/mail/MailSession.h"
#include "apps/vexil/session/Context.h"

namespace vexil::app {

namespace {

class CMailTestCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CContext& context) override;

private:
    CMailServerOptions m_server;
};

void CMailTestCommand::define(CCommandSyntax& syntax) {
    syntax.command("test", "Connect to a mail server and log in");
    m_server.define(syntax);
    syntax.footer(R"(Example:
  vexil mail test --server mail.example.com --security ssl)");
}

ExitCode CMailTestCommand::run(CContext& context) {
    CMailSession session(context, m_server);
    session.test();
    context.getConsole().print(session.describe());
    return ExitCode::Done;
}

}  // namespace

std::unique_ptr<CCommand> makeMailTest() {
    return std::make_unique<CMailTestCommand>();
}

}  // namespace vexil::app
