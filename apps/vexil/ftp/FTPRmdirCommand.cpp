#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/ftp/Commands.h"
#include "apps/vexil/ftp/FTPPath.h"
#include "apps/vexil/session/Context.h"

#include <string>

namespace vexil::app {

namespace {

class CFTPRmdirCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CContext& context) override;

private:
    std::string m_path;
};

void CFTPRmdirCommand::define(CCommandSyntax& syntax) {
    syntax.command("rmdir", "Delete an empty directory")
        .argument("DIRECTORY", m_path, "Directory on the server")
        .footer(R"(Example:
  vexil ftp rmdir /photos/2024)");
}

ExitCode CFTPRmdirCommand::run(CContext& context) {
    const String path = makeServerPath(m_path);
    context.getFTP().perform(path, [&path](CFTPClient& client, CNetRequest& request) {
        client.prepareRemoveDirRequest(request, path);
    });
    return ExitCode::Done;
}

}  // namespace

std::unique_ptr<CCommand> makeFTPRmdir() {
    return std::make_unique<CFTPRmdirCommand>();
}

}  // namespace vexil::app
