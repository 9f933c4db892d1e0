#include "apps/vexil/backup/Commands.h"
#include "apps/vexil/backup/Destination.h"
#include "apps/vexil/backup/FilterOptions.h"
#include "apps/vexil/backup/OpenStore.h"
#include "apps/vexil/backup/SeparateFolders.h"
#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/mirror/Backup.h"
#include "apps/vexil/mirror/StoreIndex.h"

#include <string>

namespace vexil::app {

namespace {

class CBackupCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_folder;
    std::string m_destination;
    CFilterOptions m_filter;
    bool m_comparesContents = false;
    CUploadOptions m_upload;
};

void CBackupCommand::define(CCommandSyntax& syntax) {
    syntax.command("backup", "Store all files of a folder on an S3 server, an FTP server or another disk")
        .argument("FOLDER", m_folder, "Folder to back up, with everything below it")
        .argument("DESTINATION", m_destination,
                  "s3://BUCKET/PREFIX, ftp://HOST/DIRECTORY, ftps://HOST/DIRECTORY or file:///FOLDER");
    m_filter.define(syntax);
    syntax.flag("--checksum", m_comparesContents,
                "Read all files to find those that have changed, and do not trust sizes and times");
    m_upload.define(syntax, "How many files, or parts of a file, are stored at once, at most (default: 8)");
    syntax.footer(R"(Examples:
  vexil backup ~/Documents s3://backups/documents
  vexil backup ~/Documents ftp://nas.example.com/backups/documents
  vexil backup ~/Documents file:///media/disk/documents
  vexil backup ~ ftp://nas.example.com/home --exclude '*.tmp' --exclude /Downloads/ --max-size 1G

Over ftp:// the connection is encrypted before the login, unless --tls none is given; over ftps:// it is
encrypted from its first byte. A login is never part of a destination: see 'vexil help s3' and 'vexil help
ftp'. '%', '?' and '#' in a destination are written as %25, %3F and %23.

Each regular file is stored under its path, and any client can read it. A file whose size and time have not
changed since the last backup is not stored again. Beside the files stands an index, .vexil-index.gz: it
keeps times, modes, links and empty folders. Without it, files are recognised by their MD5 or their time on
the server. With --checksum only the MD5 counts: where there are no MD5s, all files are stored again. Files
of the same names are replaced, each when the new one is complete; others stay. Special files are listed and
skipped. Files that cannot be read or that change during the backup are listed; the rest is stored and the
exit code is 5. What is skipped, or left out by an option, does not change the exit code. --part-size and
--upload-check are for S3.

In a pattern '*' and '?' do not match a '/', and '**' as a name stands for any number of folders. A '/' at the
beginning or within a pattern ties it to FOLDER, otherwise it holds for names at any depth. A '/' at its end
stands for folders only. The last rule that matches an entry decides. A folder that is left out is not
entered. --max-size and --newer are for files only. What is left out stays in the destination if an earlier
backup has stored it.)");
}

ExitCode CBackupCommand::run(CSession& session) {
    const CDestination destination = CDestination::parse(m_destination, session.getOptions().ftpSecurity);
    const CFolderWalker walker(toPath(m_folder), m_filter.make());
    checkSeparate(destination, walker.getFolder());
    COpenStore store(session, destination, m_upload);
    CStoreIndex index(session, store.get());
    index.setUsesTimes(!m_comparesContents);
    return CBackup(session, store.get(), &index).run(walker, m_upload.getJobs());
}

}  // namespace

std::unique_ptr<CCommand> makeBackup() {
    return std::make_unique<CBackupCommand>();
}

}  // namespace vexil::app
