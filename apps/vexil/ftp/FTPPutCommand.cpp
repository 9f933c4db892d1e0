#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/files/InterruptibleFile.h"
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
        .argument("FILE", m_file, "The file to store")
        .argument("PATH", m_path,
                  "Its path on the server; an existing file is replaced. "
                  "With '/' at its end: the directory for it, where it keeps its name")
        .flag("-p,--parents", m_makesParents, "Make missing directories")
        .footer(R"(Examples:
  vexil ftp put holiday.jpg /photos/2024/holiday.jpg --parents
  vexil ftp put holiday.jpg /photos/

The file is first stored as .NAME.vexil-part-RANDOM. It gets its name when the server reports the right
size, and replaces a file of that name. A directory is not replaced.)");
}

ExitCode CFTPPutCommand::run(CSession& session) {
    const P<CFileInStream> file = new CInterruptibleFile(toPath(m_file));
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
