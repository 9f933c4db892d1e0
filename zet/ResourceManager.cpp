#include "zet/ResourceManager.h"

#include "zet/InvalidArgError.h"
#include "zet/ModulePath.h"

#include <filesystem>
#include <string>

namespace zet {

namespace {

using Path = CResourceManager::Path;

// Converts through UTF-8: on Linux std::filesystem converts wide characters by the locale of the process.
std::filesystem::path toFileSystemPath(const Path& path) {
    const std::string bytes = path.getText().toUTF8();
    return std::filesystem::path(std::u8string(bytes.begin(), bytes.end()));
}

Path fromFileSystemPath(const std::filesystem::path& path) {
    const std::u8string bytes = path.u8string();
    return String::fromUTF8(std::string(bytes.begin(), bytes.end()));
}

bool isFile(const std::filesystem::path& path) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(path, ignored);
}

}  // namespace

CResourceManager::CResourceManager() {
    const Path library = getModuleFolder();
    // A relative path would make the search depend on the working folder.
    if (library.isAbsolute()) {
        m_folders.push_back(library.join(ZET_RESOURCE_FOLDER_FROM_LIBRARY));
        m_folders.push_back(library.join("resources"));
    }
}

CResourceManager::~CResourceManager() = default;

P<CResourceManager> CResourceManager::get() {
    // Never destroyed: objects with static lifetime may look for resources at the end of the process.
    static const P<CResourceManager>& instance = *new P<CResourceManager>(new CResourceManager);
    return instance;
}

CResourceManager::Path CResourceManager::findResource(const Path& relativePath) const {
    const CMutexLock lock(m_mutex);
    for (const Path& folder : m_folders) {
        const std::filesystem::path file = toFileSystemPath(folder.join(relativePath));
        if (isFile(file)) {
            return fromFileSystemPath(file.lexically_normal());
        }
    }
    return Path();
}

void CResourceManager::addResourceFolder(const Path& folder) {
    if (!folder.isAbsolute()) {
        throw CInvalidArgError("CResourceManager::addResourceFolder", "folder must be an absolute path");
    }
    const CMutexLock lock(m_mutex);
    m_folders.push_front(folder);
}

void CResourceManager::removeResourceFolder(const Path& folder) {
    const CMutexLock lock(m_mutex);
    m_folders.remove(folder);
}

}  // namespace zet
