#include "apps/vexil/mirror/BackupPreview.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/Console.h"
#include "apps/vexil/console/Event.h"
#include "apps/vexil/mirror/StoreIndex.h"
#include "apps/vexil/mirror/VanishedFiles.h"
#include "apps/vexil/platform/FileFacts.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/platform/Platform.h"
#include "apps/vexil/session/Session.h"

#include <system_error>

namespace vexil::app {

CBackupPreview::CBackupPreview(CSession& session, IStore& store, CStoreIndex& index,
                               const CBackupOptions& options)
    : m_session(session), m_store(store), m_index(index), m_options(options) {}

ExitCode CBackupPreview::run(const CFolderWalker& walker) {
    m_folder = walker.getFolder();
    m_index.load();
    walker.walk(*this);
    if (m_options.deletes) {
        previewDeletions(walker);
    }
    CConsole& console = m_session.getConsole();
    console.printSummary("would be backed up: " + formatNumberOf(m_files, "file") + ", " +
                         formatBytes(m_bytes));
    console.printSummary("unchanged: " + formatNumberOf(m_unchanged, "file"));
    if (m_options.deletes) {
        console.printSummary("would be deleted: " + formatNumberOf(m_deletions, "file"));
    }
    console.tell(CEvent("summary")
                     .flag("complete", true)
                     .number("planned_files", m_files)
                     .number("planned_bytes", m_bytes)
                     .number("unchanged_files", m_unchanged)
                     .number("planned_deletions", m_deletions)
                     .number("errors", m_failures));
    return m_failures == 0 ? ExitCode::Done : ExitCode::Incomplete;
}

void CBackupPreview::onFile(const std::filesystem::path& relativePath) {
    CInterrupt::throwIfRequested();
    if (relativePath == CStoreIndex::name) {
        return;
    }
    const std::filesystem::path file = m_folder / relativePath;
    std::error_code failure;
    const CFileFacts facts = readFileFacts(file, failure);
    if (failure) {
        onProblem(relativePath, String::fromUTF8Lossy(failure.message()));
    } else if (m_index.isUnchanged(relativePath, file, facts)) {
        ++m_unchanged;
    } else {
        ++m_files;
        m_bytes += facts.size;
        m_session.getConsole().tellPlan("store", relativePath);
    }
}

void CBackupPreview::onSkipped(const std::filesystem::path& relativePath, const char* what) {
    std::error_code failure;
    if (!std::filesystem::is_symlink(getEntryStatus(m_folder / relativePath, failure))) {
        m_session.getConsole().entryMessage(Verbosity::Warning, "would skip ", describe(relativePath), what,
                                            toBytes(relativePath));
    }
}

void CBackupPreview::onProblem(const std::filesystem::path& relativePath, const String& reason) {
    ++m_failures;
    m_session.getConsole().entryMessage(Verbosity::Error, "could NOT be backed up: ", describe(relativePath),
                                        reason, toBytes(relativePath));
}

void CBackupPreview::previewDeletions(const CFolderWalker& walker) {
    CVanishedFiles vanished(m_session.getConsole(), m_store, m_index, walker);
    const String problem =
        m_failures > 0 ? String("not everything can be read") : vanished.findProblem(m_options.maxDeletions);
    if (!problem.isEmpty() && (!vanished.getPaths().empty() || !m_index.isUsed())) {
        ++m_failures;
        m_session.getConsole().message(Verbosity::Error, "would NOT be deleted: " + problem);
        return;
    }
    for (const std::filesystem::path& path : vanished.getPaths()) {
        m_session.getConsole().tellPlan("delete", path);
    }
    m_deletions = static_cast<int64>(vanished.getPaths().size());
}

}  // namespace vexil::app
