#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/ftp/Commands.h"
#include "apps/vexil/ftp/FTPAccess.h"
#include "apps/vexil/ftp/FTPPath.h"

#include <string>

namespace vexil::app {

namespace {

class CFTPMkdirCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_path;
    bool m_makesParents = false;
};

void CFTPMkdirCommand::define(CCommandSyntax& syntax) {
    syntax.command("mkdir", "Make a directory")
        .argument("DIRECTORY", m_path, "Directory on the server")
        .flag("-p,--parents", m_makesParents,
              "Also make missing directories above it; an existing directory is not an error")
        .footer(R"(Example:
  vexil ftp mkdir --parents /backups/documents)");
}

ExitCode CFTPMkdirCommand::run(CSession& session) {
    const String path = makeServerPath(m_path);
    CFTPAccess access(session);
    if (m_makesParents) {
        access.getFTP().makeDirs(path);
    } else {
        access.getFTP().makeDir(path);
    }
    return ExitCode::Done;
}

}  // namespace

std::unique_ptr<CCommand> makeFTPMkdir() {
    return std::make_unique<CFTPMkdirCommand>();
}

}  // namespace vexil::app
