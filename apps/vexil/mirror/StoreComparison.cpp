#include "apps/vexil/mirror/StoreComparison.h"

#include "apps/vexil/base/ErrorDiagnosis.h"
#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/ErrorReport.h"
#include "apps/vexil/files/TemporaryFolder.h"
#include "apps/vexil/platform/FileFacts.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/platform/Platform.h"
#include "apps/vexil/session/Session.h"

#include <system_error>
#include <utility>

namespace vexil::app {

namespace fs = std::filesystem;

CStoreComparison::CStoreComparison(CSession& session, IStore& store, bool downloads)
    : m_session(session), m_store(store), m_index(session, store), m_downloads(downloads),
      m_progress(session.getConsole()) {}

void CStoreComparison::run(const CFolderWalker& walker) {
    m_folder = walker.getFolder();
    m_index.loadAll();
    if (m_downloads) {
        listFiles();
    }
    walker.walk(*this);
    reportOthers(walker);
}

void CStoreComparison::listFiles() {
    const std::unique_ptr<IStoreListing> listing = m_store.list();
    while (std::unique_ptr<IStoredFile> file = listing->findNext()) {
        try {
            std::string path = toBytes(file->getRelativePath());
            m_files[path] = std::move(file);
        } catch (const CError&) {
            // The index has the problem, too.
            continue;
        }
    }
}

void CStoreComparison::onFile(const fs::path& relativePath) {
    if (relativePath == CStoreIndex::name) {
        return;
    }
    CInterrupt::throwIfRequested();
    CFileProgress progress(m_progress, describe(relativePath));
    try {
        const String difference = findDifference(relativePath);
        if (!difference.isEmpty()) {
            onProblem(relativePath, difference);
        }
        progress.complete(static_cast<int64>(fs::file_size(m_folder / relativePath)));
    } catch (const CError& error) {
        CInterrupt::throwIfRequested();
        if (m_store.getPolicy().diagnose(error).isHopeless()) {
            throw;
        }
        onProblem(relativePath, CErrorReport(error).getLine());
        m_session.setFailedRequest(nullptr);
    } catch (const fs::filesystem_error& error) {
        onProblem(relativePath, String::fromUTF8Lossy(error.code().message()));
    }
}

String CStoreComparison::findDifference(const fs::path& relativePath) {
    const auto found = m_index.getPaths().find(toBytes(relativePath));
    if (found == m_index.getPaths().end() || !found->second.isStored) {
        return "only in '" + describe(m_folder) + "'";
    }
    return m_downloads ? compareBytes(relativePath) : compareFacts(relativePath, found->second);
}

String CStoreComparison::compareFacts(const fs::path& relativePath, const CStoreIndex::CKnown& known) {
    const fs::path file = m_folder / relativePath;
    std::error_code failure;
    const CFileFacts facts = readFileFacts(file, failure);
    if (failure) {
        return String::fromUTF8Lossy(failure.message());
    }
    if (known.size != facts.size) {
        return "the sizes differ: " + formatCount(facts.size) + " and " + formatNumberOf(known.size, "byte");
    }
    const String mark = String::fromUTF8(known.mark);
    if (m_store.isChecksum(mark)) {
        return m_store.hasContent(mark, relativePath, file, std::nullopt) ? String() : "the contents differ";
    }
    return m_index.isUnchanged(relativePath, file, facts)
               ? String()
               : "it was changed after the backup, or the backup was; --download compares the contents";
}

String CStoreComparison::compareBytes(const fs::path& relativePath) {
    const auto stored = m_files.find(toBytes(relativePath));
    if (stored == m_files.end()) {
        return "it was deleted from the destination meanwhile";
    }
    const CTemporaryFolder folder;
    const fs::path copy = folder.getPath() / "file";
    CStoreIndex::fetchFile(copy, m_session, m_store, *stored->second);
    return m_comparer.findDifference(m_folder / relativePath, copy);
}

/// Files of which the folder knows nothing, and those that cannot be fetched.
void CStoreComparison::reportOthers(const CFolderWalker& walker) {
    for (const auto& [path, known] : m_index.getPaths()) {
        const fs::path relativePath = toPath(path);
        std::error_code failure;
        if (known.isStored && !walker.leavesOut(relativePath) &&
            !fs::is_regular_file(getEntryStatus(m_folder / relativePath, failure))) {
            onProblem(relativePath, "only in the destination");
        }
    }
    for (const String& problem : m_index.getProblems()) {
        ++m_differences;
        m_session.getConsole().print(problem);
    }
}

void CStoreComparison::onProblem(const fs::path& relativePath, const String& reason) {
    ++m_differences;
    m_session.getConsole().print(describe(relativePath) + ": " + reason);
}

}  // namespace vexil::app
