#include "apps/vexil/backup/Commands.h"
#include "apps/vexil/backup/Destination.h"
#include "apps/vexil/backup/FilterOptions.h"
#include "apps/vexil/backup/OpenStore.h"
#include "apps/vexil/backup/SeparateFolders.h"
#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/console/Event.h"
#include "apps/vexil/mirror/Backup.h"
#include "apps/vexil/mirror/BackupPreview.h"
#include "apps/vexil/mirror/StoreIndex.h"
#include "vexil/net/URLRedaction.h"

#include <limits>
#include <optional>
#include <string>

namespace vexil::app {

namespace {

/// `vexil backup`, and `vexil sync`, which deletes as well.
class CBackupCommand : public CCommand {
public:
    explicit CBackupCommand(bool isSync) : m_deletes(isSync), m_isSync(isSync) {}

    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    void defineBackupFooter(CCommandSyntax& syntax);
    void defineSyncFooter(CCommandSyntax& syntax);
    CBackupOptions getOptions() const;

    std::string m_folder;
    std::string m_destination;
    CFilterOptions m_filter;
    bool m_comparesContents = false;
    bool m_deletes;
    int m_maxDeletions = -1;  // the default
    bool m_isDryRun = false;
    const bool m_isSync;
    CUploadOptions m_upload;
};

void CBackupCommand::define(CCommandSyntax& syntax) {
    if (m_isSync) {
        syntax.command("sync", "Make a destination the same as a folder: 'vexil backup --delete'");
    } else {
        syntax.command("backup",
                       "Store all files of a folder on an S3 server, an FTP server or another disk");
    }
    syntax.argument("FOLDER", m_folder, "Folder to back up, with everything below it")
        .argument("DESTINATION", m_destination,
                  "s3://BUCKET/PREFIX, ftp://HOST/DIRECTORY, ftps://HOST/DIRECTORY or file:///FOLDER");
    m_filter.define(syntax);
    syntax.flag("--checksum", m_comparesContents,
                "Read all files to find those that have changed, and do not trust sizes and times");
    if (!m_isSync) {
        syntax.flag("--delete", m_deletes,
                    "Delete files in the destination that FOLDER does not have any more; files that are left "
                    "out stay");
    }
    syntax
        .number("--max-delete", "N", m_maxDeletions, 0, std::numeric_limits<int>::max(),
                "Delete nothing if more than N files had to be deleted (default: 1,000, or half of the files "
                "in the destination if that is less)")
        .flag("--dry-run", m_isDryRun, "Only say what would be done");
    m_upload.define(syntax, "How many files, or parts of a file, are stored at once, at most (default: 8)");
    if (m_isSync) {
        defineSyncFooter(syntax);
    } else {
        defineBackupFooter(syntax);
    }
}

void CBackupCommand::defineSyncFooter(CCommandSyntax& syntax) {
    syntax.footer(R"(Examples:
  vexil sync ~/Documents s3://backups/documents --dry-run
  vexil sync ~/Documents file:///media/disk/documents

This is 'vexil backup' with --delete: see 'vexil help backup'. After all files are stored, those that FOLDER
does not have any more are deleted from the destination. Nothing is deleted if a file could not be read or
stored: the exit code is then 5. Files that are left out stay, and so does the index.)");
}

void CBackupCommand::defineBackupFooter(CCommandSyntax& syntax) {
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
skipped. A file that changes while it is stored is stored once more. Files that cannot be read or that change
again are listed; the rest is stored and the exit code is 5. What is skipped, or left out by an option, does not change the exit code. Where a file and a
folder change places, the new folder replaces the old file; the new file replaces the old folder only with
--delete, otherwise it is listed. --part-size and --upload-check are for S3.

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
    session.getConsole().tell(CEvent("start")
                                  .number("version", CEvent::version)
                                  .text("command", m_isSync ? "sync" : "backup")
                                  .flag("dry_run", m_isDryRun)
                                  .bytes("folder", toBytes(walker.getFolder()))
                                  .text("destination", redactURL(String::fromUTF8Lossy(m_destination))));
    COpenStore store(session, destination, m_upload);
    CStoreIndex index(session, store.get());
    index.setUsesTimes(!m_comparesContents);
    if (m_isDryRun) {
        return CBackupPreview(session, store.get(), index, getOptions()).run(walker);
    }
    return CBackup(session, store.get(), &index, getOptions()).run(walker, m_upload.getParts().getJobs());
}

CBackupOptions CBackupCommand::getOptions() const {
    if (m_maxDeletions >= 0 && !m_deletes) {
        throw CInvalidArgError("CBackupCommand::getOptions", "--max-delete needs --delete");
    }
    return {m_deletes, m_maxDeletions < 0 ? std::nullopt : std::optional<int64>(m_maxDeletions)};
}

}  // namespace

std::unique_ptr<CCommand> makeBackup() {
    return std::make_unique<CBackupCommand>(false);
}

std::unique_ptr<CCommand> makeSync() {
    return std::make_unique<CBackupCommand>(true);
}

}  // namespace vexil::app
