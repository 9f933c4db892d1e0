#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/ftp/Commands.h"
#include "apps/vexil/ftp/FTPAccess.h"
#include "apps/vexil/ftp/FTPPath.h"

#include <string>

namespace vexil::app {

namespace {

class CFTPRmCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_path;
};

void CFTPRmCommand::define(CCommandSyntax& syntax) {
    syntax.command("rm", "Delete a file").argument("PATH", m_path, "File on the server").footer(R"(Example:
  vexil ftp rm /photos/holiday.jpg)");
}

ExitCode CFTPRmCommand::run(CSession& session) {
    const String path = makeServerPath(m_path);
    CFTPAccess(session).getFTP().perform(path, [&path](CFTPClient& client, CNetRequest& request) {
        client.prepareDeleteFileRequest(request, path);
    });
    return ExitCode::Done;
}

}  // namespace

std::unique_ptr<CCommand> makeFTPRm() {
    return std::make_unique<CFTPRmCommand>();
}

}  // namespace vexil::app
