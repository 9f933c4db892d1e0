#include "apps/vexil/backup/Commands.h"
#include "apps/vexil/backup/Destination.h"
#include "apps/vexil/backup/OpenStore.h"
#include "apps/vexil/backup/SeparateFolders.h"
#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/console/Event.h"
#include "apps/vexil/mirror/Restore.h"
#include "apps/vexil/mirror/StoreIndex.h"
#include "apps/vexil/platform/Interrupt.h"
#include "vexil/net/URLRedaction.h"

#include <string>

namespace vexil::app {

namespace {

class CRestoreCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    ExitCode preview(CConsole& console, IStore& store) const;

    std::string m_destination;
    std::string m_folder;
    bool m_isDryRun = false;
    CDownloadOptions m_download;
};

void CRestoreCommand::define(CCommandSyntax& syntax) {
    syntax.command("restore", "Fetch all files of a backup into a folder")
        .argument("DESTINATION", m_destination,
                  "s3://BUCKET/PREFIX, ftp://HOST/DIRECTORY, ftps://HOST/DIRECTORY or file:///FOLDER")
        .argument("FOLDER", m_folder, "Folder to restore to, which is created if it does not exist")
        .flag("--dry-run", m_isDryRun, "Only say what would be fetched");
    m_download.define(syntax,
                      "How many files, or parts of a file, are fetched at once, at most (default: 8)");
    syntax.footer(R"(Examples:
  vexil restore s3://backups/documents restored
  vexil restore ftp://nas.example.com/backups/documents restored
  vexil restore file:///media/disk/documents restored

Destinations are written as for 'vexil backup'. Times, modes, links and empty folders come from the index of
the backup; without an index only the files are restored. Files of the same names are replaced, each when its new
content is complete; others stay. Files that cannot be fetched or stored are listed, for example if the name
would lead out of the folder; the rest is restored, and the exit code is 5. If there is nothing to restore,
it is 3. --part-size is for S3.)");
}

ExitCode CRestoreCommand::run(CSession& session) {
    const CDestination destination = CDestination::parse(m_destination, session.getOptions().ftpSecurity);
    const std::filesystem::path folder = toPath(m_folder);
    checkSeparate(destination, folder);
    session.getConsole().tell(CEvent("start")
                                  .number("version", CEvent::version)
                                  .text("command", "restore")
                                  .flag("dry_run", m_isDryRun)
                                  .bytes("folder", toBytes(folder))
                                  .text("destination", redactURL(String::fromUTF8Lossy(m_destination))));
    COpenStore store(session, destination, m_download);
    if (m_isDryRun) {
        return preview(session.getConsole(), store.get());
    }
    return CRestore(session, store.get(), folder, true).run(m_download.getParts().getJobs());
}

ExitCode CRestoreCommand::preview(CConsole& console, IStore& store) const {
    int64 files = 0;
    int64 bytes = 0;
    int64 failures = 0;
    const std::unique_ptr<IStoreListing> listing = store.list();
    while (const std::unique_ptr<IStoredFile> file = listing->findNext()) {
        CInterrupt::throwIfRequested();
        if (file->getRelativeName() == CStoreIndex::name) {
            continue;
        }
        try {
            console.tellPlan("fetch", file->getRelativePath());
            ++files;
            bytes += file->getSize();
        } catch (const CError& error) {
            ++failures;
            console.entryMessage(Verbosity::Error, "could NOT be restored: ", printable(file->getName()),
                                 error.getMessage(), {});
        }
    }
    console.printSummary("would be restored: " + formatNumberOf(files, "file") + ", " + formatBytes(bytes));
    console.tell(CEvent("summary")
                     .flag("complete", true)
                     .number("planned_files", files)
                     .number("planned_bytes", bytes)
                     .number("errors", failures));
    if (files + failures == 0) {
        return ExitCode::NotFound;
    }
    return failures == 0 ? ExitCode::Done : ExitCode::Incomplete;
}

}  // namespace

std::unique_ptr<CCommand> makeRestore() {
    return std::make_unique<CRestoreCommand>();
}

}  // namespace vexil::app
