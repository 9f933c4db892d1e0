#include "apps/vexil/commands/FTPRmCommand.h"

#include "apps/vexil/CommandSyntax.h"
#include "apps/vexil/Context.h"
#include "apps/vexil/FTPPath.h"

namespace vexil::app {

void CFTPRmCommand::define(CCommandSyntax& syntax) {
    syntax.command("rm", "Delete a file").argument("PATH", m_path, "File on the server").footer(R"(Example:
  vexil ftp rm /photos/holiday.jpg)");
}

ExitCode CFTPRmCommand::run(CContext& context) {
    const String path = makeServerPath(m_path);
    context.getFTP().perform(path, [&path](CFTPClient& client, CNetRequest& request) {
        client.prepareDeleteFileRequest(request, path);
    });
    return ExitCode::Done;
}

}  // namespace vexil::app
