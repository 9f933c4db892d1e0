#include "apps/vexil/commands/HTTPHeadCommand.h"

#include "apps/vexil/Context.h"
#include "apps/vexil/HeaderList.h"

#include <CLI/CLI.hpp>

namespace vexil::app {

CLI::App* CHTTPHeadCommand::addTo(CLI::App& group) {
    CLI::App* command = group.add_subcommand("head", "Show the status line and the headers of a URL");
    command->add_option("URL", m_url, "What to ask for")->required();
    command->footer(R"(Example:
  vexil http head https://example.com/)");
    return command;
}

ExitCode CHTTPHeadCommand::run(CContext& context) {
    CNetRequest& request = context.prepareHTTPRequest(m_url);
    request.setHTTPMethod("HEAD");
    request.perform();
    if (!request.isResponseComplete()) {
        throw CError("The connection ended within the headers of the answer.");
    }
    printHeaders(context.getConsole(), request);
    return ExitCode::Done;
}

}  // namespace vexil::app
