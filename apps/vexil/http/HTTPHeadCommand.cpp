#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/console/HeaderList.h"
#include "apps/vexil/http/Commands.h"
#include "apps/vexil/http/HTTPRequest.h"
#include "apps/vexil/http/RedirectFollower.h"
#include "apps/vexil/session/Session.h"
#include "apps/vexil/transfer/ResponseCheck.h"

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
    CNetRequest& request = prepareHTTPRequest(session, m_url);
    request.setHTTPMethod("HEAD");
    CRedirectFollower(session.getSetup()).perform(request);
    checkResponseIsComplete(request);
    printHeaders(session.getConsole(), request);
    return ExitCode::Done;
}

}  // namespace

std::unique_ptr<CCommand> makeHTTPHead() {
    return std::make_unique<CHTTPHeadCommand>();
}

}  // namespace vexil::app
