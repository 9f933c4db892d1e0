#pragma once

#include "vexil/BaseTypes.h"

#include <map>
#include <set>

namespace vexil::app {

class CFTPAccess;

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

}  // namespace vexil::app
