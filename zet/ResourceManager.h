#pragma once

#include "zet/Base.h"
#include "zet/Containers.h"
#include "zet/Export.h"
#include "zet/Mutex.h"
#include "zet/Path.h"
#include "zet/Pointer.h"

namespace zet {

/// Finds the files that are installed with a program. Any thread.
///
/// Searches in this order: the folders that the application has added, the latest first; the data folder of
/// the installation, relative to the library's own file; a folder "resources" beside the library.
class ZET_API CResourceManager : public virtual CBase {
public:
    /// A path of the running system.
    using Path = TPathImpl<CWindowsPathTraits>;

    ~CResourceManager() override;

    /// The process-wide instance.
    [[nodiscard]] static P<CResourceManager> get();

    /// \param relativePath  folder and file below a resource folder
    /// \return the absolute path of the file; empty if no folder contains it
    [[nodiscard]] Path findResource(const Path& relativePath) const;

    /// Adds a folder, which is searched before all others. It need not exist.
    /// \throws CInvalidArgError if the path is not absolute
    void addResourceFolder(const Path& folder);
    /// Removes a folder, even if it was added several times. The texts of the paths are compared.
    void removeResourceFolder(const Path& folder);

private:
    CResourceManager();

    mutable CMutex m_mutex;
    TList<Path> m_folders ZET_GUARDED_BY(m_mutex);
};

}  // namespace zet
