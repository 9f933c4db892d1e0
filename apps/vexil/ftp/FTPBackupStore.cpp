#include "apps/vexil/ftp/FTPBackupStore.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/ErrorReport.h"
#include "apps/vexil/ftp/FTPAccess.h"
#include "apps/vexil/ftp/FTPLeftParts.h"
#include "apps/vexil/ftp/FTPPath.h"
#include "apps/vexil/ftp/FTPUpload.h"
#include "apps/vexil/platform/Interrupt.h"

namespace vexil::app {

CFTPBackupStore::CFTPBackupStore(CFTPAccess& access, const String& directory)
    : m_access(access), m_directory(directory), m_parts(access) {}

ITransferPolicy& CFTPBackupStore::getPolicy() {
    return m_access.getFTP().getPolicy();
}

void CFTPBackupStore::begin() {
    m_access.getFTP().makeDirs(m_directory);
    m_directories[m_directory] = nullptr;
    if (!m_access.getFTP().knowsMLST()) {
        m_access.getConsole().message(
            Verbosity::Warning,
            "vexil: warning: the server knows neither MLSD nor MLST (RFC 3659). It can store the backup, but "
            "'vexil ftp restore' cannot fetch it; 'vexil ftp get' fetches single files.");
        return;
    }
    CFTPLeftParts(m_access).clear(m_directory);
}

std::unique_ptr<ITransfer> CFTPBackupStore::makeUpload(const P<CFileInStream>& file,
                                                       const std::filesystem::path&,
                                                       const std::filesystem::path& relativePath) {
    const String path = joinServerPath(m_directory, makeServerName(relativePath));
    makeDirsOf(getServerDirectory(path));
    return std::make_unique<CFTPUpload>(m_access, m_parts, file, path, false);
}

// Here and not in each upload: two uploads at once would make the same directory.
void CFTPBackupStore::makeDirsOf(const String& path) {
    const auto found = m_directories.find(path);
    if (found == m_directories.end()) {
        try {
            makeDirs(path);
            m_directories[path] = nullptr;
        } catch (const CError& error) {
            m_directories[path] = error.clone();
            throw;
        }
    } else if (found->second) {
        found->second->throwClone();
    }
}

void CFTPBackupStore::makeDirs(const String& path) {
    try {
        m_access.getFTP().makeDirs(path);
    } catch (const CError&) {
        if (!replaceFileOnTheWay(path)) {
            throw;
        }
        m_access.getFTP().makeDirs(path);
    }
}

bool CFTPBackupStore::replaceFileOnTheWay(const String& path) {
    for (const String& directory : getDirsDownTo(path)) {
        if (directory.length() <= m_directory.length() || !isFile(directory)) {
            continue;
        }
        const String oldFile = makePartPath(directory) + "-old";
        m_parts.addReplaced(oldFile, directory);
        const bool isDeleted = m_access.getFTP().replaceByDir(directory, oldFile);
        m_parts.removeReplaced(oldFile);
        if (!isDeleted) {
            m_parts.add(oldFile);
        }
        m_access.getConsole().message(Verbosity::Warning, "replaced: the file '" + printable(directory) +
                                                              "' on the server, which is a folder now");
        return true;
    }
    return false;
}

bool CFTPBackupStore::isFile(const String& path) {
    try {
        return m_access.getFTP().getInfo(path).getType() == zet::IFileInfoBase::TypeFile;
    } catch (const CError&) {
        CInterrupt::throwIfRequested();
        return false;
    }
}

}  // namespace vexil::app
