#pragma once

#include "zet/Base.h"
#include "zet/Containers.h"
#include "zet/Export.h"
#include "zet/Mutex.h"
#include "zet/Path.h"
#include "zet/Pointer.h"

namespace zet {

/// Finds the files that a program brings with it. Any thread.
///
/// Looked into, in this order: the folders that the application added, the latest first; the data folder of
/// the installation, which is found from where the library itself lies; a folder "resources" beside the
/// library.
class ZET_API CResourceManager : public virtual CBase {
public:
    /// A path of the running system.
    using Path = TPathImpl<CWindowsPathTraits>;

    ~CResourceManager() override;

    /// The process-wide instance.
    static P<CResourceManager> get();

    /// \param relativePath  folder and file below a resource folder
    /// \return the absolute path of the file, or an empty one when no folder holds it
    Path findResource(const Path& relativePath) const;

    /// Looks into `folder` before all others from now on. It must be absolute, a CInvalidArgError otherwise,
    /// and need not exist.
    void addResourceFolder(const Path& folder);
    /// Looks into `folder` no longer, however often it was added. It is compared as written.
    void removeResourceFolder(const Path& folder);

private:
    CResourceManager();

    mutable CMutex m_mutex;
    TList<Path> m_folders;
};

}  // namespace zet
