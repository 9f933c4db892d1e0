#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/ftp/FTPListDirResult.h"

#include <set>

namespace vexil::app {

class CContext;

/// Deletes the parts that earlier runs of this user on this computer have left on an FTP server when they were killed
/// (ServerPartMark.h), and tells it. A file that was to be replaced gets its name back if nothing has it, otherwise it is
/// deleted, too. To be used before uploads begin.
class CFTPLeftParts {
public:
    /// The context must outlive it.
    explicit CFTPLeftParts(CContext& context) : m_context(context) {}

    /// Looks through a directory and all below it. What cannot be listed is told, and hinders nothing.
    /// \throws "Interrupted." (CInterrupt)
    void clear(const String& directory);

private:
    void clearBelow(const String& directory, const String& uniqueID, int level);
    void clearIn(const String& directory, const CFTPListDirResult& listing);
    void remove(const TArray<String>& paths);
    void restore(const String& part, const String& path);
    void tell(const String& text) const;

    CContext& m_context;
    std::set<String> m_seen;  // unique IDs of directories, where the server tells them
};

}  // namespace vexil::app
