#include "apps/vexil/backup/Commands.h"
#include "apps/vexil/backup/Destination.h"
#include "apps/vexil/backup/FilterOptions.h"
#include "apps/vexil/backup/OpenStore.h"
#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/mirror/StoreComparison.h"

#include <string>

namespace vexil::app {

namespace {

class CCheckCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_folder;
    std::string m_destination;
    CFilterOptions m_filter;
    bool m_downloads = false;
};

void CCheckCommand::define(CCommandSyntax& syntax) {
    syntax.command("check", "Compare a folder with its backup")
        .argument("FOLDER", m_folder, "The folder that was backed up")
        .argument("DESTINATION", m_destination,
                  "s3://BUCKET/PREFIX, ftp://HOST/DIRECTORY, ftps://HOST/DIRECTORY or file:///FOLDER");
    m_filter.define(syntax);
    syntax.flag("--download", m_downloads, "Fetch all files, and compare them byte for byte")
        .footer(R"(Examples:
  vexil check ~/Documents s3://backups/documents
  vexil check ~/Documents file:///media/disk/documents --download

Each difference is printed. Without --download nothing but the listing and the index is fetched: on S3 the
MD5 of each file is compared; files without an MD5, and files on other servers, are compared by size and by
the times in the index. Links, special files and empty folders are ignored, and so are entries that are left
out. The exit code is 0 if all regular files are equal and 1 otherwise.)");
}

ExitCode CCheckCommand::run(CSession& session) {
    const CDestination destination = CDestination::parse(m_destination, session.getOptions().ftpSecurity);
    const CFolderWalker walker(toPath(m_folder), m_filter.make());
    COpenStore store(session, destination, CDownloadOptions());
    CStoreComparison comparison(session, store.get(), m_downloads);
    comparison.run(walker);
    const int64 differences = comparison.getDifferenceCount();
    session.getConsole().print(
        "compared: " + formatNumberOf(comparison.getProgress().getFileCount(), "file") + ", " +
        formatBytes(comparison.getProgress().getByteCount()) + ", " +
        formatNumberOf(differences, "difference"));
    return differences == 0 ? ExitCode::Done : ExitCode::Failed;
}

}  // namespace

std::unique_ptr<CCommand> makeCheck() {
    return std::make_unique<CCheckCommand>();
}

}  // namespace vexil::app
