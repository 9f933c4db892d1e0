#pragma once

#include <filesystem>

namespace vexil::app {

/// A new folder that only this user can read, for files that nobody needs afterwards. Its end removes it.
class CTemporaryFolder {
public:
    /// \throws CError if it cannot be made
    CTemporaryFolder();
    ~CTemporaryFolder();
    CTemporaryFolder(const CTemporaryFolder&) = delete;
    CTemporaryFolder& operator=(const CTemporaryFolder&) = delete;

    const std::filesystem::path& getPath() const noexcept { return m_path; }

private:
    std::filesystem::path m_path;
};

}  // namespace vexil::app
