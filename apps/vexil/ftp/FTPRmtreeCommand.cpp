#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/ftp/Commands.h"
#include "apps/vexil/ftp/FTPAccess.h"
#include "apps/vexil/ftp/FTPPath.h"
#include "apps/vexil/ftp/FTPTreeRemoval.h"

#include <string>

namespace vexil::app {

namespace {

class CFTPRmtreeCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_path;
};

void CFTPRmtreeCommand::define(CCommandSyntax& syntax) {
    syntax.command("rmtree", "Delete a directory with everything below it")
        .argument("DIRECTORY", m_path, "Directory on the server")
        .footer(R"(Example:
  vexil ftp rmtree /backups/documents

The command does not ask, and deleted files are lost. Entries that cannot be deleted are listed; the rest is
deleted and the exit code is 1. A link is deleted, but not its target. The root (/) is refused.)");
}

ExitCode CFTPRmtreeCommand::run(CSession& session) {
    const String path = makeServerPath(m_path);
    CFTPAccess access(session);
    return CFTPTreeRemoval(access).run(path);
}

}  // namespace

std::unique_ptr<CCommand> makeFTPRmtree() {
    return std::make_unique<CFTPRmtreeCommand>();
}

}  // namespace vexil::app
