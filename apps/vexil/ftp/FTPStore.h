#pragma once

#include "apps/vexil/ftp/RemoteParts.h"
#include "apps/vexil/mirror/Store.h"

#include <map>

namespace vexil::app {

/// The files below a directory of an FTP server. If a file on the server has become a folder here, the
/// directory replaces it, and this is reported. A file never replaces a directory.
class CFTPStore : public IStore {
public:
    /// The access must outlive it.
    CFTPStore(CFTPAccess& access, const String& directory);

    IServerPolicy& getPolicy() override;
    /// The files in the order of the server's listings. Links and the like are named and skipped, and so are
    /// directories that contain themselves. A directory that cannot be listed is returned as a file that
    /// cannot be fetched. The error of the first directory is thrown.
    std::unique_ptr<IStoreListing> list() override;
    /// Makes the directory, and deletes the parts that killed runs have left.
    void beginUploads() override;
    std::unique_ptr<IUpload> makeUpload(const P<CFileInStream>& file,
                                        const std::filesystem::path& relativePath,
                                        const std::optional<CFileTime>& time) override;
    bool replace(CSession& session, const std::filesystem::path& file,
                 const std::filesystem::path& relativePath, const std::optional<String>& mark) override;
    /// Compares times, in whole seconds.
    bool hasContent(const String& mark, const std::filesystem::path& relativePath,
                    const std::filesystem::path& file, const std::optional<CFileFacts>& facts) override;
    void remove(const String& relativeName) override;
    void removeEmptyFolder(const std::filesystem::path& relativePath) override;
    const char* getNoun() const override { return "file"; }
    const char* getQuestionWhereEmpty() const override { return "is the directory right?"; }

private:
    class CFile;
    class CListing;

    void makeDirsOf(const String& path);
    void makeDirs(const String& path);
    bool replaceFileOnTheWay(const String& path);
    bool isFile(const String& path);

    CFTPAccess& m_access;
    String m_directory;
    // directories that were made; with an error: could not be made
    std::map<String, P<CError>> m_directories;
    CRemoteParts m_parts;
};

}  // namespace vexil::app
