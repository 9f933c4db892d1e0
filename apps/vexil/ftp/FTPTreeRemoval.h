#pragma once

#include "apps/vexil/base/ExitCode.h"
#include "vexil/ftp/FTPListDirResult.h"

#include <functional>
#include <vector>

namespace vexil::app {

class CFTPAccess;

/// Deletes a directory of an FTP server with everything below it. Names entries that cannot be deleted and
/// continues with the others. Deletes links and does not follow them, also if the server shows them as
/// directories.
class CFTPTreeRemoval {
public:
    /// The access must outlive it.
    explicit CFTPTreeRemoval(CFTPAccess& access) : m_access(access) {}

    /// \throws CInvalidArgError for the root, before anything is sent
    /// \throws CError for a path that is missing or not a directory
    ExitCode run(const String& path);

private:
    struct CDirectory {
        String path;
        String uniqueID;
    };

    bool removeDir(const String& path, const String& uniqueID);
    bool removeContent(const String& path, const CFTPListDirResult& listing);
    bool removeEntry(const String& directory, const CFTPDirEntry& entry);
    bool attempt(const String& path, const std::function<bool()>& remove);
    void checkWalk(const String& uniqueID) const;
    void reportFailure(const String& path, const String& reason);

    CFTPAccess& m_access;
    std::vector<CDirectory> m_open;  // from the first one down to where the walk is
    int64 m_failures = 0;
};

}  // namespace vexil::app
