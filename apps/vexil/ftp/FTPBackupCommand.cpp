#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/ftp/Commands.h"
#include "apps/vexil/ftp/FTPAccess.h"
#include "apps/vexil/ftp/FTPPath.h"
#include "apps/vexil/ftp/FTPStore.h"
#include "apps/vexil/mirror/Backup.h"
#include "apps/vexil/transfer/SessionQueue.h"

#include <string>
#include <vector>

namespace vexil::app {

namespace {

class CFTPBackupCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_folder;
    std::string m_directory;
    std::vector<std::string> m_excluded;
    int m_jobs = CSessionQueue::defaultCount;
};

void CFTPBackupCommand::define(CCommandSyntax& syntax) {
    syntax.command("backup", "Store all files of a folder below a directory of the server")
        .argument("FOLDER", m_folder, "Folder to back up, with everything below it")
        .argument("DIRECTORY", m_directory, "Directory on the server, which is created if it does not exist")
        .options("--exclude", "PATH", m_excluded,
                 "A file or folder to leave out, relative to FOLDER; may be repeated")
        .number("--jobs", "N", m_jobs, 1, CSessionQueue::maxCount,
                "How many files are stored at once, at most (default: 8)")
        .footer(R"(Examples:
  vexil ftp backup ~/Documents /backups/documents
  vexil ftp backup project /backups/project --exclude build --exclude .cache

Files of the same names are replaced, each when the new one is complete; others stay. A folder replaces a
file of its name. A file does not replace a directory: it is listed, and the exit code is 1. Links and
special files are listed and skipped; empty folders, modes and times are not kept. Files that cannot be
read, that change during the backup, or whose names the server refuses or changes are listed; the rest is
stored and the exit code is 1. Each file in transfer has its own connection, and there is one more. If the
server accepts fewer, fewer files are in transfer at once.)");
}

ExitCode CFTPBackupCommand::run(CSession& session) {
    const CFolderWalker walker(toPath(m_folder), m_excluded);
    CFTPAccess access(session);
    CFTPStore store(access, makeServerPath(m_directory));
    return CBackup(session, store).run(walker, m_jobs);
}

}  // namespace

std::unique_ptr<CCommand> makeFTPBackup() {
    return std::make_unique<CFTPBackupCommand>();
}

}  // namespace vexil::app
