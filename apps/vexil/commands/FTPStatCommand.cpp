#include "apps/vexil/commands/FTPStatCommand.h"

#include "apps/vexil/CommandSyntax.h"
#include "apps/vexil/Context.h"
#include "apps/vexil/FTPEntryLine.h"
#include "apps/vexil/FTPPath.h"

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
