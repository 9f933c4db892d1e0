#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/files/FileInStream.h"
#include "apps/vexil/ftp/Commands.h"
#include "apps/vexil/ftp/FTPAccess.h"
#include "apps/vexil/ftp/FTPPath.h"
#include "apps/vexil/ftp/FTPUpload.h"
#include "apps/vexil/transfer/SingleTransfer.h"

#include <string>

namespace vexil::app {

namespace {

class CFTPPutCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_file;
    std::string m_path;
    bool m_makesParents = false;
};

void CFTPPutCommand::define(CCommandSyntax& syntax) {
    syntax.command("put", "Store a file")
        .argument("FILE", m_file, "What to store")
        .argument(
            "PATH", m_path,
            "Its place on the server, a file of this name is replaced; with '/' at its end, the directory to "
            "put it into under its own name")
        .flag("-p,--parents", m_makesParents, "Make the directories that are missing")
        .footer(R"(Examples:
  vexil ftp put holiday.jpg /photos/2024/holiday.jpg --parents
  vexil ftp put holiday.jpg /photos/

The file is stored as .NAME.vexil-part-RANDOM first, and gets its name, in place of a file that has it, when the
server tells the right size. A directory is not replaced.)");
}

ExitCode CFTPPutCommand::run(CSession& session) {
    const P<CFileInStream> file = new CFileInStream(toPath(m_file));
    String path = makeServerPath(m_path);
    if (m_path.ends_with('/')) {
        path = joinServerPath(path, makeServerName(toPath(m_file).filename()));
    }
    CFTPAccess access(session);
    CRemoteParts parts(access);
    CFTPUpload upload(access, parts, file, path, m_makesParents);
    runSingleTransfer(session, access.getFTP().getPolicy(), upload);
    file->checkUnchanged();
    return ExitCode::Done;
}

}  // namespace

std::unique_ptr<CCommand> makeFTPPut() {
    return std::make_unique<CFTPPutCommand>();
}

}  // namespace vexil::app
