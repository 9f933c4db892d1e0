#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/ftp/Commands.h"
#include "apps/vexil/ftp/FTPAccess.h"
#include "apps/vexil/ftp/FTPEntryLine.h"
#include "apps/vexil/ftp/FTPPath.h"

#include <string>

namespace vexil::app {

namespace {

class CFTPStatCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_path;
};

void CFTPStatCommand::define(CCommandSyntax& syntax) {
    syntax.command("stat", "Show one file or directory: type, size, time of change (UTC), name")
        .argument("PATH", m_path, "The file or directory on the server")
        .footer(R"(Example:
  vexil ftp stat /backups/list.txt)");
}

ExitCode CFTPStatCommand::run(CSession& session) {
    const String path = makeServerPath(m_path);
    session.getConsole().print(makeEntryLine(CFTPAccess(session).getFTP().getInfo(path)));
    return ExitCode::Done;
}

}  // namespace

std::unique_ptr<CCommand> makeFTPStat() {
    return std::make_unique<CFTPStatCommand>();
}

}  // namespace vexil::app
