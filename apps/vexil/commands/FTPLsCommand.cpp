#include "apps/vexil/commands/FTPLsCommand.h"

#include "apps/vexil/CommandSyntax.h"
#include "apps/vexil/Context.h"
#include "apps/vexil/FTPEntryLine.h"
#include "apps/vexil/FTPPath.h"

namespace vexil::app {

void CFTPLsCommand::define(CCommandSyntax& syntax) {
    syntax.command("ls", "List a directory: type, size, time of change (UTC), name")
        .optionalArgument("DIRECTORY", m_path, "Directory on the server (default: /)")
        .footer(R"(Examples:
  vexil ftp ls
  vexil ftp ls /backups/documents)");
}

ExitCode CFTPLsCommand::run(CContext& context) {
    const String path = makeServerPath(m_path);
    const P<CFTPListDirResult> listing = context.getFTP().listDir(path);
    for (const P<CFTPDirEntry>& entry : listing->getEntries()) {
        // The directory itself, and its parent.
        if (!(entry->getName() == ".") && !(entry->getName() == "..")) {
            context.getConsole().print(makeEntryLine(*entry));
        }
    }
    return ExitCode::Done;
}

}  // namespace vexil::app
