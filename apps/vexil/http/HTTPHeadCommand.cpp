#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/console/HeaderList.h"
#include "apps/vexil/http/Commands.h"
#include "apps/vexil/http/HTTPTransfer.h"
#include "apps/vexil/session/Session.h"

#include <string>

namespace vexil::app {

namespace {

class CHTTPHeadCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_url;
};

void CHTTPHeadCommand::define(CCommandSyntax& syntax) {
    syntax.command("head", "Show the status line and the headers of a URL")
        .argument("URL", m_url, "The URL to ask for")
        .footer(R"(Example:
  vexil http head https://example.com/)");
}

ExitCode CHTTPHeadCommand::run(CSession& session) {
    CHTTPTransfer transfer(
        session, m_url, [](CNetRequest& request) { request.setHTTPMethod("HEAD"); },
        [&session](CNetRequest& request) { printHeaders(session.getConsole(), request); });
    runHTTPTransfer(session, transfer, false);
    return ExitCode::Done;
}

}  // namespace

std::unique_ptr<CCommand> makeHTTPHead() {
    return std::make_unique<CHTTPHeadCommand>();
}

}  // namespace vexil::app
