#include "apps/vexil/Restore.h"

#include "apps/vexil/Context.h"
#include "apps/vexil/ErrorReport.h"
#include "apps/vexil/Interrupt.h"
#include "apps/vexil/ObjectDownload.h"
#include "apps/vexil/ObjectKey.h"
#include "apps/vexil/PartFile.h"
#include "apps/vexil/Text.h"
#include "vexil/s3/S3ObjectEnum.h"

#include <system_error>

namespace vexil::app {

namespace fs = std::filesystem;

CRestore::CRestore(CContext& context, const String& bucket, const String& prefix, const fs::path& folder)
    : m_context(context), m_bucket(bucket), m_prefix(makeFolderPrefix(prefix)), m_folder(folder),
      m_progress(context.getConsole()) {}

void CRestore::run() {
    std::error_code failure;
    fs::create_directories(m_folder, failure);
    if (!fs::is_directory(m_folder)) {
        throw CError("Cannot make the folder '" + describe(m_folder) +
                         "': " + String::fromUTF8Lossy(failure.message()),
                     "system", failure.value());
    }
    const CProgressScope scope(m_context, m_progress);
    // Each page is read to its end before a download takes the request: they share its connection.
    CS3ObjectEnum objects(&m_context.getClient(), &m_context.getRequest(), m_bucket, m_prefix, "", -1);
    while (objects.next()) {
        CInterrupt::throwIfRequested();
        restore(*objects.getCurrObject());
    }
}

void CRestore::restore(const CS3ListObjectsElement& element) {
    if (isFolderMarker(element)) {
        return;
    }
    m_progress.beginFile(printable(element.getKey()));
    try {
        const fs::path relativePath = makeRelativePath(m_prefix, element.getKey());
        makeFolders(relativePath.parent_path());
        download(element, relativePath);
        m_progress.endFile(element.getSize());
    } catch (const std::exception& error) {
        CInterrupt::throwIfRequested();
        m_progress.dropFile();
        const CErrorReport report(error);
        if (report.isHopeless()) {
            throw;
        }
        ++m_failures;
        m_context.getConsole().message(Verbosity::Error, "NOT restored: " + printable(element.getKey()) +
                                                             ": " + report.getLine());
    }
}

// Consoles of services make such objects so that a folder can be seen while it is empty.
bool CRestore::isFolderMarker(const CS3ListObjectsElement& element) const {
    return element.getSize() == 0 && element.getKey().endsWith("/");
}

void CRestore::download(const CS3ListObjectsElement& element, const fs::path& relativePath) {
    CPartFile file(m_folder / relativePath);
    CObjectDownload objectDownload(m_context, m_bucket, element.getKey());
    objectDownload.run(*file.getStream());
    m_continuations += objectDownload.getContinuationCount();
    if (const int64 size = file.getStream()->getSize(); size != element.getSize()) {
        throw CError("the object has " + formatNumberOf(size, "byte") + ", but the listing says " +
                     formatCount(element.getSize()));
    }
    file.commit();
}

// Step by step: a link on the way, made by whoever, could lead out of the folder.
void CRestore::makeFolders(const fs::path& relativePath) {
    fs::path folder = m_folder;
    for (const fs::path& name : relativePath) {
        folder /= name;
        std::error_code failure;
        const fs::file_status status = fs::symlink_status(folder, failure);
        if (fs::is_directory(status)) {
            continue;
        }
        if (fs::exists(status)) {
            throw CError("Cannot make the folder '" + describe(folder) + "': there is " +
                             (fs::is_symlink(status) ? "a link" : "a file") + " of this name",
                         "system");
        }
        if (!fs::create_directory(folder, failure)) {
            throw CError("Cannot make the folder '" + describe(folder) +
                             "': " + String::fromUTF8Lossy(failure.message()),
                         "system", failure.value());
        }
    }
}

void CRestore::printReport() {
    CConsole& console = m_context.getConsole();
    const double seconds = m_progress.getSeconds();
    console.print("restored: " + formatNumberOf(m_progress.getFileCount(), "file") + ", " +
                  formatBytes(m_progress.getByteCount()) + " in " + formatSeconds(seconds) + " (" +
                  formatRate(m_progress.getByteCount(), seconds) + "), " +
                  formatNumberOf(m_context.getClient().getRetryCount(), "retry") + ", " +
                  formatNumberOf(m_continuations, "continued download"));
    if (m_failures > 0) {
        console.print("FAILED: " + formatNumberOf(m_failures, "object") + ", named above");
    }
}

}  // namespace vexil::app
