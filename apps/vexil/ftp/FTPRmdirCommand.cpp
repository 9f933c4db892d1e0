#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/ftp/Commands.h"
#include "apps/vexil/ftp/FTPAccess.h"
#include "apps/vexil/ftp/FTPPath.h"

#include <string>

namespace vexil::app {

namespace {

class CFTPRmdirCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_path;
};

void CFTPRmdirCommand::define(CCommandSyntax& syntax) {
    syntax.command("rmdir", "Delete an empty directory")
        .argument("DIRECTORY", m_path, "Directory on the server")
        .footer(R"(Example:
  vexil ftp rmdir /photos/2024)");
}

ExitCode CFTPRmdirCommand::run(CSession& session) {
    const String path = makeServerPath(m_path);
    CFTPAccess(session).getFTP().perform(path, [&path](CFTPClient& client, CNetRequest& request) {
        client.prepareRemoveDirRequest(request, path);
    });
    return ExitCode::Done;
}

}  // namespace

std::unique_ptr<CCommand> makeFTPRmdir() {
    return std::make_unique<CFTPRmdirCommand>();
}

}  // namespace vexil::app
