#include "apps/vexil/ftp/FTPStatCommand.h"

#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/ftp/FTPEntryLine.h"
#include "apps/vexil/ftp/FTPPath.h"
#include "apps/vexil/session/Context.h"

namespace vexil::app {

void CFTPStatCommand::define(CCommandSyntax& syntax) {
    syntax.command("stat", "Show one file or directory: type, size, time of change (UTC), name")
        .argument("PATH", m_path, "What to look at on the server")
        .footer(R"(Example:
  vexil ftp stat /backups/list.txt)");
}

ExitCode CFTPStatCommand::run(CContext& context) {
    context.getConsole().print(makeEntryLine(context.getFTP().getInfo(makeServerPath(m_path))));
    return ExitCode::Done;
}

}  // namespace vexil::app
