#pragma once

#include "vexil/BaseTypes.h"

#include <map>
#include <set>

namespace vexil::app {

class CContext;

/// The files on an FTP server that uploads have begun and not moved to their names yet. They are deleted when this is
/// destroyed, as far as that can be done; what cannot is told. By then no upload may run any more.
///
/// Also the files that uploads have moved away to replace them: they get their names back if nothing has them.
class CRemoteParts {
public:
    /// The context must outlive it.
    explicit CRemoteParts(CContext& context) : m_context(context) {}
    ~CRemoteParts();
    CRemoteParts(const CRemoteParts&) = delete;
    CRemoteParts& operator=(const CRemoteParts&) = delete;

    void add(const String& path) { m_paths.insert(path); }
    void remove(const String& path) { m_paths.erase(path); }

    /// A file that may have been moved away, until removeReplaced().
    /// \param path  what it was called
    void addReplaced(const String& oldFile, const String& path) { m_replaced[oldFile] = path; }
    void removeReplaced(const String& oldFile) { m_replaced.erase(oldFile); }

private:
    void restoreReplaced() const;
    void removeParts() const;
    void tell(const char* what, const String& path, const String& reason) const;

    CContext& m_context;
    std::set<String> m_paths;
    std::map<String, String> m_replaced;  // what each was called, by what it is called now
};

}  // namespace vexil::app
