#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/ftp/Commands.h"
#include "apps/vexil/ftp/FTPAccess.h"
#include "apps/vexil/ftp/FTPPath.h"
#include "apps/vexil/ftp/FTPStore.h"
#include "apps/vexil/mirror/Restore.h"
#include "apps/vexil/transfer/SessionQueue.h"

#include <string>

namespace vexil::app {

namespace {

class CFTPRestoreCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_directory;
    std::string m_folder;
    int m_jobs = CSessionQueue::defaultCount;
};

void CFTPRestoreCommand::define(CCommandSyntax& syntax) {
    syntax.command("restore", "Download all files below a directory into a folder")
        .argument("DIRECTORY", m_directory, "Directory on the server")
        .argument("FOLDER", m_folder, "Folder to restore to, which is created if it does not exist")
        .number("--jobs", "N", m_jobs, 1, CSessionQueue::maxCount,
                "How many files are fetched at once, at most (default: 8)")
        .footer(R"(Example:
  vexil ftp restore /backups/documents restored

Files of the same names are replaced, each when its new content is complete; others stay. An interrupted
download continues where it stopped, as long as the server reports the same file. Files that cannot be
stored (because the name would lead out of the folder, or is not allowed here) are listed; the rest is
restored and the exit code is 1. If there is nothing to restore, it is 3. Links are listed and skipped,
unless the server shows them as their targets.)");
}

ExitCode CFTPRestoreCommand::run(CSession& session) {
    CFTPAccess access(session);
    CFTPStore store(access, makeServerPath(m_directory));
    return CRestore(session, store, toPath(m_folder)).run(m_jobs);
}

}  // namespace

std::unique_ptr<CCommand> makeFTPRestore() {
    return std::make_unique<CFTPRestoreCommand>();
}

}  // namespace vexil::app
