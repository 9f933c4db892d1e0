#include "apps/vexil/ftp/FTPRmCommand.h"

#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/ftp/FTPPath.h"
#include "apps/vexil/session/Context.h"

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
