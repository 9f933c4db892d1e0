#include "apps/vexil/Backup.h"

#include "apps/vexil/Context.h"
#include "apps/vexil/ErrorReport.h"
#include "apps/vexil/FileInStream.h"
#include "apps/vexil/Interrupt.h"
#include "apps/vexil/ObjectKey.h"
#include "apps/vexil/Text.h"
#include "apps/vexil/Upload.h"

namespace vexil::app {

namespace {

constexpr const char* contentType = "application/octet-stream";

}  // namespace

CBackup::CBackup(CContext& context, const String& bucket, const String& prefix)
    : m_context(context), m_bucket(bucket), m_prefix(makeFolderPrefix(prefix)),
      m_progress(context.getConsole()) {}

void CBackup::run(const CFolderWalker& walker) {
    m_folder = walker.getFolder();
    const CProgressScope scope(m_context, m_progress);
    walker.walk(*this);
}

void CBackup::onFile(const std::filesystem::path& relativePath) {
    m_progress.beginFile(describe(relativePath));
    try {
        const P<CFileInStream> file = new CFileInStream(m_folder / relativePath);
        store(relativePath, *file);
        m_progress.endFile(file->getSize());
    } catch (const std::exception& error) {
        CInterrupt::throwIfRequested();
        m_progress.dropFile();
        const CErrorReport report(error);
        if (report.isHopeless() || report.isAccessDenied()) {
            throw;
        }
        onProblem(relativePath, report.getLine());
    }
}

void CBackup::store(const std::filesystem::path& relativePath, CFileInStream& file) {
    const String key = makeObjectKey(m_prefix, relativePath);
    try {
        upload(m_context, file, m_bucket, key, contentType);
    } catch (const CError& error) {
        if (file.hasChanged() && !CErrorReport(error).isHopeless()) {
            throw CError("the file was changed while it was backed up, and is not stored");
        }
        throw;
    }
    // Its checksum was right, but a program that writes in several places may have been half done.
    if (file.hasChanged()) {
        throw CError(
            "the file was changed while it was backed up: what is stored may be neither its old nor its new "
            "content");
    }
}

void CBackup::onSkipped(const std::filesystem::path& relativePath, const char* what) {
    ++m_skipped;
    m_context.getConsole().message(Verbosity::Warning, "skipped " + describe(relativePath) + ": " + what);
}

void CBackup::onEmptyFolder(const std::filesystem::path&) {
    ++m_emptyFolders;
}

void CBackup::onProblem(const std::filesystem::path& relativePath, const String& reason) {
    ++m_failures;
    m_context.getConsole().message(Verbosity::Error,
                                   "NOT backed up: " + describe(relativePath) + ": " + reason);
}

void CBackup::printReport() {
    CConsole& console = m_context.getConsole();
    const double seconds = m_progress.getSeconds();
    console.print("backed up: " + formatNumberOf(m_progress.getFileCount(), "file") + ", " +
                  formatBytes(m_progress.getByteCount()) + " in " + formatSeconds(seconds) + " (" +
                  formatRate(m_progress.getByteCount(), seconds) + "), " +
                  formatNumberOf(m_context.getClient().getRetryCount(), "retry"));
    console.print("not kept: " + formatCount(m_skipped) + " links and special files, " +
                  formatNumberOf(m_emptyFolders, "empty folder") + ", modes and times of all files");
    if (m_failures > 0) {
        console.print("FAILED: " + formatNumberOf(m_failures, "entry") + ", named above");
    }
}

}  // namespace vexil::app
