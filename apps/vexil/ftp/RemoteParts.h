#pragma once

#include "vexil/BaseTypes.h"

#include <map>
#include <set>

namespace vexil::app {

class CFTPAccess;

/// A path in the same directory for an incomplete file, a different one at each call: see PartName.h. Its
/// digits show a later run which parts it may delete: six digits identify the computer and the user, six the
/// process, and four are random.
String makePartPath(const String& path);

/// Whether a part with these digits was made by this user on this computer, in a process that has ended. True
/// also for the ID of this process: an earlier process may have had it.
bool isLeftServerPart(const String& digits);

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
