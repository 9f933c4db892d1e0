#pragma once

#include "apps/vexil/ftp/RemoteParts.h"
#include "apps/vexil/mirror/BackupStore.h"

#include <map>

namespace vexil::app {

/// Stores a backup as files below a directory of an FTP server. If a file on the server has become a folder
/// here, the directory replaces it, and this is reported. A file never replaces a directory.
class CFTPBackupStore : public IBackupStore {
public:
    /// The access must outlive it.
    CFTPBackupStore(CFTPAccess& access, const String& directory);

    ITransferPolicy& getPolicy() override;
    /// Makes the directory.
    void begin() override;
    std::unique_ptr<ITransfer> makeUpload(const P<CFileInStream>& file, const std::filesystem::path& folder,
                                          const std::filesystem::path& relativePath) override;

private:
    void makeDirsOf(const String& path);
    void makeDirs(const String& path);
    bool replaceFileOnTheWay(const String& path);
    bool isFile(const String& path);

    CFTPAccess& m_access;
    String m_directory;
    // directories that were made; with an error: could not be made
    std::map<String, P<CError>> m_directories;
    CRemoteParts m_parts;
};

}  // namespace vexil::app
