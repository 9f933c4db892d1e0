#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/ftp/Commands.h"
#include "apps/vexil/ftp/FTPAccess.h"
#include "apps/vexil/ftp/FTPPath.h"
#include "apps/vexil/ftp/FTPReplies.h"

#include <string>

namespace vexil::app {

namespace {

class CFTPMvCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_from;
    std::string m_to;
};

void CFTPMvCommand::define(CCommandSyntax& syntax) {
    syntax.command("mv", "Move or rename a file or directory, on the server")
        .argument("FROM", m_from, "The file or directory to move")
        .argument("TO", m_to, "Its new path; the server decides whether an existing file is replaced")
        .footer(R"(Example:
  vexil ftp mv /photos/holiday.jpg /photos/2024/holiday.jpg)");
}

ExitCode CFTPMvCommand::run(CSession& session) {
    const String from = makeServerPath(m_from);
    const String to = makeServerPath(m_to);
    try {
        CFTPAccess(session).getFTP().perform(from, [&from, &to](CFTPClient& client, CNetRequest& request) {
            client.prepareMoveFileRequest(request, from, to, false);
        });
    } catch (const CCURLError& error) {
        if (isUnknownCommand(error)) {
            throwRefusal("The server cannot rename files", error);
        }
        throw;
    }
    return ExitCode::Done;
}

}  // namespace

std::unique_ptr<CCommand> makeFTPMv() {
    return std::make_unique<CFTPMvCommand>();
}

}  // namespace vexil::app
