#include "apps/vexil/mirror/VanishedFiles.h"

#include "apps/vexil/base/ErrorDiagnosis.h"
#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/Console.h"
#include "apps/vexil/console/ErrorReport.h"
#include "apps/vexil/console/Event.h"
#include "apps/vexil/files/FolderWalker.h"
#include "apps/vexil/mirror/Store.h"
#include "apps/vexil/mirror/StoreIndex.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/platform/Platform.h"

#include <set>
#include <system_error>

namespace vexil::app {

namespace fs = std::filesystem;

namespace {

constexpr int64 usualLimit = 1000;

}  // namespace

CVanishedFiles::CVanishedFiles(CConsole& console, IStore& store, CStoreIndex& index,
                               const CFolderWalker& walker)
    : m_console(console), m_store(store), m_index(index), m_walker(walker) {
    for (const fs::path& path : index.findOthers()) {
        // A file that has become a folder was already replaced by it.
        const bool isReplaced = store.hasFolders() && index.hasFilesBelow(path);
        if (isReplaced) {
            index.noteRemoved(path);
        } else if (!walker.leavesOut(path) && !mayBeThere(path)) {
            m_paths.push_back(path);
        }
    }
}

/// Whether the folder has a file of this path, or it cannot be told. Links on the way are not followed.
bool CVanishedFiles::mayBeThere(const fs::path& relativePath) const {
    fs::path path = m_walker.getFolder();
    fs::file_type type = fs::file_type::directory;
    for (const fs::path& name : relativePath) {
        if (type != fs::file_type::directory) {
            return false;
        }
        path /= name;
        std::error_code failure;
        type = getEntryStatus(path, failure).type();
        if (type == fs::file_type::none || type == fs::file_type::unknown) {
            return true;
        }
    }
    return type == fs::file_type::regular;
}

String CVanishedFiles::findProblem(const std::optional<int64>& limit) const {
    const auto count = static_cast<int64>(m_paths.size());
    if (!m_index.isUsed()) {
        return "the destination cannot be listed";
    }
    const String text = formatNumberOf(count, "file") + " of " + formatCount(m_index.countStored()) +
                        " in the destination would be deleted, ";
    if (limit) {
        return count > *limit ? text + "more than --max-delete " + String::fromInt(*limit) + " allows"
                              : String();
    }
    if (count > usualLimit || count * 2 > m_index.countStored()) {
        return text + "more than 1,000 or more than half of all; --max-delete " + String::fromInt(count) +
               " allows it";
    }
    return String();
}

int64 CVanishedFiles::remove() {
    int64 count = 0;
    for (const fs::path& path : m_paths) {
        CInterrupt::throwIfRequested();
        try {
            m_store.remove(toText(path));
            m_index.noteRemoved(path);
            m_console.message(Verbosity::Info, "deleted " + describe(path));
            m_console.tell(CEvent("deleted").bytes("path", toBytes(path)));
            ++count;
        } catch (const CError& error) {
            CInterrupt::throwIfRequested();
            if (m_store.getPolicy().diagnose(error).isHopeless()) {
                throw;
            }
            m_console.entryMessage(Verbosity::Error, "NOT deleted: ", describe(path),
                                   CErrorReport(error).getLine(), toBytes(path));
        }
    }
    removeEmptyFolders();
    m_index.forgetOthers();
    return count;
}

/// The folders of removed files, the inner ones first.
void CVanishedFiles::removeEmptyFolders() {
    std::set<fs::path> folders;
    for (const fs::path& path : m_paths) {
        for (fs::path folder = path.parent_path(); !folder.empty(); folder = folder.parent_path()) {
            std::error_code failure;
            const fs::file_status status = getEntryStatus(m_walker.getFolder() / folder, failure);
            if (!fs::is_directory(status) && !m_index.hasFilesBelow(folder)) {
                folders.insert(folder);
            }
        }
    }
    for (auto folder = folders.rbegin(); folder != folders.rend(); ++folder) {
        m_store.removeEmptyFolder(*folder);
    }
}

}  // namespace vexil::app
