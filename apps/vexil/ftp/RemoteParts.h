#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/ftp/FTPListDirResult.h"

#include <map>
#include <set>

namespace vexil::app {

class CFTPAccess;

/// A path in the same directory for an incomplete file, a different one at each call: see PartName.h. Its
/// digits show a later run which parts it may delete: six digits identify the computer and the user, six the
/// process, and four are random.
String makePartPath(const String& path);

/// The files on an FTP server that uploads have begun and not yet moved to their names. The destructor
/// deletes them as far as possible, and reports the others. No upload may run then.
///
/// Also the files that uploads have moved away to replace them: they get their names back if the names are
/// free.
class CRemoteParts {
public:
    /// The access must outlive it.
    explicit CRemoteParts(CFTPAccess& access) : m_access(access) {}
    ~CRemoteParts();
    CRemoteParts(const CRemoteParts&) = delete;
    CRemoteParts& operator=(const CRemoteParts&) = delete;

    void add(const String& path) { m_paths.insert(path); }
    void remove(const String& path) { m_paths.erase(path); }

    /// A file that may have been moved away, until removeReplaced().
    /// \param path  its original name
    void addReplaced(const String& oldFile, const String& path) { m_replaced[oldFile] = path; }
    void removeReplaced(const String& oldFile) { m_replaced.erase(oldFile); }

private:
    void restoreReplaced() const;
    void removeParts() const;
    void tell(const char* what, const String& path, const String& reason) const;

    CFTPAccess& m_access;
    std::set<String> m_paths;
    std::map<String, String> m_replaced;  // original names, by current names
};

/// Deletes the parts that killed runs of this user on this computer have left on an FTP server (see
/// makePartPath()), and reports it. A file that was to be replaced gets its name back if the name is free;
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
