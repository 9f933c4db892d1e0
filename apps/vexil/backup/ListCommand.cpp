#include "apps/vexil/backup/Commands.h"
#include "apps/vexil/backup/Destination.h"
#include "apps/vexil/backup/OpenStore.h"
#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/mirror/StoreIndex.h"
#include "zet/TimeFields.h"

#include <algorithm>
#include <string>

namespace vexil::app {

namespace {

constexpr std::size_t sizeColumns = 14;
constexpr std::size_t timeColumns = 20;

class CListCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_destination;
};

void CListCommand::define(CCommandSyntax& syntax) {
    syntax.command("ls", "List the files of a backup")
        .argument("DESTINATION", m_destination,
                  "s3://BUCKET/PREFIX, ftp://HOST/DIRECTORY, ftps://HOST/DIRECTORY or file:///FOLDER")
        .footer(R"(Examples:
  vexil ls s3://backups/documents
  vexil ls file:///media/disk/documents

Each line has the size in bytes, the time of the last change (UTC) that the index of the backup has, and the
path; "-" stands for an unknown time. Links have their targets after "->". Files that cannot be restored are
listed on standard error, and the exit code is 1.)");
}

String padLeft(const String& text, std::size_t columns) {
    return String(std::string(columns - std::min(columns, text.length()), ' ').c_str()) + text;
}

String describeTime(const CStoreIndex::CKnown& known) {
    const std::optional<CEntryFacts>& entry = known.entry;
    const bool isOfThisFile =
        entry && entry->time && (!known.isStored || entry->eTag.empty() || entry->eTag == known.mark);
    return isOfThisFile ? zet::CTimeFields(zet::CTime::fromCTime(entry->time->seconds)).toISODateTime(0)
                        : String("-");
}

ExitCode CListCommand::run(CSession& session) {
    const CDestination destination = CDestination::parse(m_destination, session.getOptions().ftpSecurity);
    COpenStore store(session, destination, CDownloadOptions());
    CStoreIndex index(session, store.get());
    index.loadAll();
    CConsole& console = session.getConsole();
    for (const auto& [path, known] : index.getPaths()) {
        const bool isLink = known.entry && known.entry->kind == EntryKind::Link;
        if (!known.isStored && !isLink) {
            continue;
        }
        const String size = known.isStored ? String::fromInt(known.size) : String("link");
        console.print(padLeft(size, sizeColumns) + "  " + padLeft(describeTime(known), timeColumns) + "  " +
                      describe(toPath(path)) +
                      (known.isStored ? String() : " -> " + describe(toPath(index.getTarget(path)))));
    }
    for (const String& problem : index.getProblems()) {
        console.message(Verbosity::Error, problem);
    }
    return index.getProblems().empty() ? ExitCode::Done : ExitCode::Failed;
}

}  // namespace

std::unique_ptr<CCommand> makeList() {
    return std::make_unique<CListCommand>();
}

}  // namespace vexil::app
