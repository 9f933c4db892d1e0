#pragma once

#include "apps/vexil/mirror/RestoreSource.h"
#include "vexil/ftp/FTPListDirResult.h"

#include <vector>

namespace vexil::app {

class CFTPAccess;

/// The files below a directory of an FTP server, in the order of its listings. Links and the like are named
/// and skipped, and so are directories that contain themselves.
class CFTPRestoreSource : public IRestoreSource {
public:
    /// The access must outlive it.
    CFTPRestoreSource(CFTPAccess& access, const String& directory);

    ITransferPolicy& getPolicy() override;
    /// A directory that cannot be listed is returned as a file that cannot be fetched. The error of the first
    /// directory is thrown.
    std::unique_ptr<IStoredFile> findNext() override;
    const char* getNoun() const override { return "file"; }
    const char* getQuestionWhereEmpty() const override { return "is the directory right?"; }

private:
    class CFile;
    struct CDirectory {
        String relativeName;  // "" for the first directory
        String uniqueID;
        P<CFTPListDirResult> listing;
        std::size_t next = 0;
    };

    void enter(const String& relativeName, const String& uniqueID);
    std::unique_ptr<IStoredFile> visitNext(CDirectory& directory);
    std::unique_ptr<IStoredFile> visit(const String& parent, const CFTPDirEntry& entry);
    std::unique_ptr<IStoredFile> tryToEnter(const String& relativeName, const String& uniqueID);
    String getPath(const String& relativeName) const;
    bool leadsBack(const String& relativeName, const String& uniqueID) const;

    CFTPAccess& m_access;
    String m_directory;
    bool m_hasBegun = false;
    std::vector<CDirectory> m_open;  // from the first directory down to the current one
};

}  // namespace vexil::app
