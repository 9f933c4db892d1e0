#include "apps/vexil/backup/Commands.h"
#include "apps/vexil/backup/Destination.h"
#include "apps/vexil/backup/OpenStore.h"
#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/mirror/StoreIndex.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/platform/Platform.h"

#include <algorithm>
#include <string>
#include <vector>

namespace vexil::app {

namespace {

constexpr int maxPaths = 10000;

class CRemoveCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    TArray<std::string> findPaths(const CStoreIndex& index, CConsole& console);
    bool isChosen(const std::string& path, const std::string& name) const;
    bool isAllowed(CConsole& console, std::size_t count) const;
    ExitCode remove(CSession& session, IStore& store, CStoreIndex& index, const TArray<std::string>& paths);

    std::string m_destination;
    std::vector<std::string> m_names;
    bool m_isRecursive = false;
    bool m_isAllowed = false;
    bool m_isDryRun = false;
    int64 m_missing = 0;
};

void CRemoveCommand::define(CCommandSyntax& syntax) {
    syntax.command("rm", "Delete files of a backup")
        .argument("DESTINATION", m_destination,
                  "s3://BUCKET/PREFIX, ftp://HOST/DIRECTORY, ftps://HOST/DIRECTORY or file:///FOLDER")
        .arguments("PATH", "PATH...", m_names, 0, maxPaths,
                   "Files to delete, as 'vexil ls' lists them; with --recursive also folders")
        .flag("-r,--recursive", m_isRecursive,
              "Delete everything below the folders PATH; without a PATH, the whole backup with its index")
        .flag("--yes", m_isAllowed, "Do not ask before a recursive deletion")
        .flag("--dry-run", m_isDryRun, "Only say what would be deleted")
        .footer(R"(Examples:
  vexil rm s3://backups/documents letters/2019.odt
  vexil rm -r ftp://nas.example.com/backups/documents old/photos --dry-run

A recursive deletion asks first, on a terminal; elsewhere it needs --yes. The index of the backup then knows
that the files are gone: the next backup stores those that its folder still has. If a PATH does not exist,
the others are deleted, and the exit code is 3.)");
}

ExitCode CRemoveCommand::run(CSession& session) {
    if (m_names.empty() && !m_isRecursive) {
        throw CInvalidArgError("CRemoveCommand::run", "a PATH or --recursive is needed");
    }
    const CDestination destination = CDestination::parse(m_destination, session.getOptions().ftpSecurity);
    COpenStore store(session, destination, CUploadOptions());
    CStoreIndex index(session, store.get());
    index.loadAll();
    const TArray<std::string> paths = findPaths(index, session.getConsole());
    if (m_isDryRun) {
        for (const std::string& path : paths) {
            session.getConsole().print("would delete " + describe(toPath(path)));
        }
    } else if (!paths.empty() && isAllowed(session.getConsole(), paths.size())) {
        const ExitCode code = remove(session, store.get(), index, paths);
        if (code != ExitCode::Done) {
            return code;
        }
    }
    return m_missing == 0 ? ExitCode::Done : ExitCode::NotFound;
}

/// The stored files, and the links and folders of the index, that the arguments name.
TArray<std::string> CRemoveCommand::findPaths(const CStoreIndex& index, CConsole& console) {
    TArray<std::string> paths;
    for (const auto& [path, known] : index.getPaths()) {
        const bool isChosenByAny = m_names.empty() || std::any_of(m_names.begin(), m_names.end(),
                                                                  [&path = path, this](const auto& name) {
                                                                      return isChosen(path, name);
                                                                  });
        const bool isFolder = known.entry && known.entry->kind == EntryKind::Folder;
        const bool isLink = known.entry && known.entry->kind == EntryKind::Link;
        if (isChosenByAny && (known.isStored || isLink || (isFolder && m_isRecursive))) {
            paths.push_back(path);
        }
    }
    for (const std::string& name : m_names) {
        if (std::none_of(paths.begin(), paths.end(),
                         [&](const std::string& path) { return isChosen(path, name); })) {
            ++m_missing;
            console.message(Verbosity::Error, "NOT deleted: " + describe(toPath(name)) +
                                                  ": there is no such " +
                                                  (m_isRecursive ? "file or folder" : "file"));
        }
    }
    return paths;
}

bool CRemoveCommand::isChosen(const std::string& path, const std::string& name) const {
    const std::string plain = name.ends_with('/') ? name.substr(0, name.size() - 1) : name;
    return path == plain || (m_isRecursive && path.starts_with(plain + "/"));
}

bool CRemoveCommand::isAllowed(CConsole& console, std::size_t count) const {
    if (!m_isRecursive || m_isAllowed) {
        return true;
    }
    if (!isInputTerminal()) {
        throw CInvalidArgError("CRemoveCommand::isAllowed",
                               "--recursive needs --yes where nobody can be asked");
    }
    console.message(Verbosity::Error,
                    "Delete " + formatNumberOf(static_cast<int64>(count), "entry") + "? Type yes to do it.");
    char line[16] = {};
    const int length = readStandardInput(line, sizeof line - 1);
    const std::string reply(line, static_cast<std::size_t>(std::max(length, 0)));
    return reply == "yes\n" || reply == "yes\r\n";
}

ExitCode CRemoveCommand::remove(CSession& session, IStore& store, CStoreIndex& index,
                                const TArray<std::string>& paths) {
    int64 removed = 0;
    // The inner ones first.
    for (auto path = paths.rbegin(); path != paths.rend(); ++path) {
        CInterrupt::throwIfRequested();
        const std::filesystem::path relativePath = toPath(*path);
        if (index.getPaths().at(*path).isStored) {
            store.remove(toText(relativePath));
            index.noteRemoved(relativePath);
            ++removed;
        } else {
            store.removeEmptyFolder(relativePath);
        }
        index.forget(*path);
    }
    if (m_names.empty()) {
        store.remove(CStoreIndex::name);
    } else {
        index.save();
    }
    session.getConsole().print("deleted: " + formatNumberOf(removed, "file"));
    return ExitCode::Done;
}

}  // namespace

std::unique_ptr<CCommand> makeRemove() {
    return std::make_unique<CRemoveCommand>();
}

}  // namespace vexil::app
