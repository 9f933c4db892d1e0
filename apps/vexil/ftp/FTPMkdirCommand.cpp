#include "apps/vexil/ftp/FTPMkdirCommand.h"

#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/ftp/FTPPath.h"
#include "apps/vexil/session/Context.h"

namespace vexil::app {

void CFTPMkdirCommand::define(CCommandSyntax& syntax) {
    syntax.command("mkdir", "Make a directory")
        .argument("DIRECTORY", m_path, "Directory on the server")
        .flag("-p,--parents", m_makesParents,
              "Make those above it as well; one that is there already is no error")
        .footer(R"(Example:
  vexil ftp mkdir --parents /backups/documents)");
}

ExitCode CFTPMkdirCommand::run(CContext& context) {
    const String path = makeServerPath(m_path);
    if (m_makesParents) {
        context.getFTP().makeDirs(path);
    } else {
        context.getFTP().makeDir(path);
    }
    return ExitCode::Done;
}

}  // namespace vexil::app
