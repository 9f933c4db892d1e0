#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/ftp/FTPListDirResult.h"

#include <set>

namespace vexil::app {

class CFTPAccess;

/// Deletes the parts that killed runs of this user on this computer have left on an FTP server
/// (ServerPartMark.h), and reports it. A file that was to be replaced gets its name back if the name is free;
/// otherwise it is deleted, too. Must be used before uploads begin.
class CFTPLeftParts {
public:
    /// The access must outlive it.
    explicit CFTPLeftParts(CFTPAccess& access) : m_access(access) {}

    /// Searches a directory and everything below it. A directory that cannot be listed is reported, and the
    /// search continues.
    /// \throws "Interrupted." (CInterrupt)
    void clear(const String& directory);

private:
    void clearBelow(const String& directory, const String& uniqueID, int level);
    void clearIn(const String& directory, const CFTPListDirResult& listing);
    void remove(const TArray<String>& paths);
    void restore(const String& part, const String& path);
    void tell(const String& text) const;

    CFTPAccess& m_access;
    std::set<String> m_seen;  // unique IDs of directories, if the server sends them
};

}  // namespace vexil::app
