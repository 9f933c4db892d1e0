#include "apps/vexil/ftp/FTPRmdirCommand.h"

#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/ftp/FTPPath.h"
#include "apps/vexil/session/Context.h"

namespace vexil::app {

void CFTPRmdirCommand::define(CCommandSyntax& syntax) {
    syntax.command("rmdir", "Delete an empty directory")
        .argument("DIRECTORY", m_path, "Directory on the server")
        .footer(R"(Example:
  vexil ftp rmdir /photos/2024)");
}

ExitCode CFTPRmdirCommand::run(CContext& context) {
    const String path = makeServerPath(m_path);
    context.getFTP().perform(path, [&path](CFTPClient& client, CNetRequest& request) {
        client.prepareRemoveDirRequest(request, path);
    });
    return ExitCode::Done;
}

}  // namespace vexil::app
