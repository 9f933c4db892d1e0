#include "apps/vexil/commands/FTPRmtreeCommand.h"

#include "apps/vexil/CommandSyntax.h"
#include "apps/vexil/Context.h"
#include "apps/vexil/FTPPath.h"

namespace vexil::app {

void CFTPRmtreeCommand::define(CCommandSyntax& syntax) {
    syntax.command("rmtree", "Delete a directory with all below it")
        .argument("DIRECTORY", m_path, "Directory on the server")
        .footer(R"(Example:
  vexil ftp rmtree /backups/documents

There is no question before, and no way back. The first failure ends it. A link that the server shows as a
directory is followed.)");
}

ExitCode CFTPRmtreeCommand::run(CContext& context) {
    context.getFTP().removeTree(makeServerPath(m_path));
    return ExitCode::Done;
}

}  // namespace vexil::app
