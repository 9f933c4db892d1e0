#include "apps/vexil/http/HTTPHeadCommand.h"

#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/console/HeaderList.h"
#include "apps/vexil/http/RedirectFollower.h"
#include "apps/vexil/session/Context.h"
#include "apps/vexil/transfer/AnswerCheck.h"

namespace vexil::app {

void CHTTPHeadCommand::define(CCommandSyntax& syntax) {
    syntax.command("head", "Show the status line and the headers of a URL")
        .argument("URL", m_url, "What to ask for")
        .footer(R"(Example:
  vexil http head https://example.com/)");
}

ExitCode CHTTPHeadCommand::run(CContext& context) {
    CNetRequest& request = context.prepareHTTPRequest(m_url);
    request.setHTTPMethod("HEAD");
    CRedirectFollower(context.getSetup()).perform(request);
    checkAnswerIsComplete(request);
    printHeaders(context.getConsole(), request);
    return ExitCode::Done;
}

}  // namespace vexil::app
