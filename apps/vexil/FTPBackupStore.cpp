#include "apps/vexil/FTPBackupStore.h"

#include "apps/vexil/Context.h"
#include "apps/vexil/ErrorReport.h"
#include "apps/vexil/FTPPath.h"
#include "apps/vexil/FTPUpload.h"
#include "apps/vexil/PartFile.h"

namespace vexil::app {

CFTPBackupStore::CFTPBackupStore(CContext& context, const String& directory)
    : m_context(context), m_directory(directory), m_parts(context) {}

ITransferPolicy& CFTPBackupStore::getPolicy() {
    return m_context.getFTP().getPolicy();
}

void CFTPBackupStore::begin() {
    m_context.getFTP().makeDirs(m_directory);
    m_directories[m_directory] = nullptr;
}

std::unique_ptr<ITransfer> CFTPBackupStore::makeUpload(const P<CFileInStream>& file,
                                                       const std::filesystem::path& folder,
                                                       const std::filesystem::path& relativePath) {
    const String path = joinServerPath(m_directory, makeServerName(relativePath));
    makeDirsOf(getServerDirectory(path));
    // A file of the folder may have the name that is usual.
    const String part = makeServerName(CPartFile::findFreeName(folder / relativePath));
    return std::make_unique<CFTPUpload>(m_context, m_parts, file, path,
                                        joinServerPath(getServerDirectory(path), part), false);
}

// Here and not by each upload: two at once would make the same one.
void CFTPBackupStore::makeDirsOf(const String& path) {
    const auto found = m_directories.find(path);
    if (found == m_directories.end()) {
        try {
            m_context.getFTP().makeDirs(path);
            m_directories[path] = nullptr;
        } catch (const CError& error) {
            m_directories[path] = error.clone();
            throw;
        }
    } else if (found->second) {
        found->second->throwClone();
    }
}

}  // namespace vexil::app
