#pragma once

#include "apps/vexil/files/LeftParts.h"
#include "apps/vexil/mirror/FolderPolicy.h"
#include "apps/vexil/mirror/Store.h"

namespace vexil::app {

class CConsole;

/// The files below a local folder, for example on another disk. If a file there has become a folder, the
/// folder replaces it, and this is reported. A file never replaces a folder. All files are stored and fetched
/// alone.
class CFolderStore : public IStore {
public:
    /// Does nothing yet. The console must outlive it.
    CFolderStore(CConsole& console, const std::filesystem::path& folder);

    IServerPolicy& getPolicy() override { return m_policy; }
    /// The files in the order of their names. Links and special files are named and skipped. A folder that
    /// cannot be read is returned as a file that cannot be fetched.
    std::unique_ptr<IStoreListing> list() override;
    /// Makes the folder.
    void beginUploads() override;
    bool isStoredAlone(int64 /*size*/) const override { return true; }
    /// The copy gets the time.
    String storeAlone(const std::filesystem::path& file, const std::filesystem::path& relativePath,
                      const std::optional<CFileTime>& time, CFileProgress& progress) override;
    bool replace(CSession& session, const std::filesystem::path& file,
                 const std::filesystem::path& relativePath, const std::optional<String>& mark) override;
    /// Compares times.
    bool hasContent(const String& mark, const std::filesystem::path& relativePath,
                    const std::filesystem::path& file, const std::optional<CFileFacts>& facts) override;
    /// Deletes the parts that killed runs have left.
    void finishUploads(const CFolderWalker& walker, bool isComplete, const Report& report) override;
    void remove(const String& relativeName) override;
    void removeEmptyFolder(const std::filesystem::path& relativePath) override;
    const char* getNoun() const override { return "file"; }
    const char* getQuestionWhereEmpty() const override { return "is the folder right?"; }

private:
    class CFile;
    class CListing;

    void replaceByFolder(const std::filesystem::path& file);

    CConsole& m_console;
    std::filesystem::path m_folder;
    CFolderPolicy m_policy;
    CLeftParts m_leftParts;
};

}  // namespace vexil::app
