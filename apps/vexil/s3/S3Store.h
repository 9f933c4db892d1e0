#pragma once

#include "apps/vexil/mirror/Store.h"
#include "apps/vexil/s3/DownloadOptions.h"
#include "apps/vexil/s3/ObjectListing.h"
#include "apps/vexil/s3/PartedUpload.h"
#include "apps/vexil/s3/UploadOptions.h"

#include <optional>

namespace vexil::app {

class CS3Access;

/// The objects of a bucket below a prefix, as a store of files.
class CS3Store : public IStore {
public:
    /// The access must outlive it.
    /// \param prefix  comes before the path of each file, with a "/" between them
    /// \param upload  how files are stored
    CS3Store(CS3Access& access, const String& bucket, const String& prefix,
             const CUploadOptions& upload = {});
    /// \param download  how objects are fetched
    CS3Store(CS3Access& access, const String& bucket, const String& prefix, const CDownloadOptions& download);

    /// Whether an upload in parts that has failed, or was killed, is continued by the next run; its parts
    /// stay until then. Needs a folder for the state of the user's programs, otherwise the parts are deleted.
    /// Default false.
    void setResumesUploads(bool resumes);

    IServerPolicy& getPolicy() override;
    /// If an object and objects below a folder of its name exist, the newer ones become files; the others
    /// have a problem that names them.
    std::unique_ptr<IStoreListing> list() override;
    void beginUploads() override;
    std::unique_ptr<IUpload> makeUpload(const P<CFileInStream>& file,
                                        const std::filesystem::path& relativePath,
                                        const std::optional<CFileTime>& time) override;
    bool isStoredAlone(int64 size) const override { return m_upload.isSentInParts(size); }
    String storeAlone(const std::filesystem::path& file, const std::filesystem::path& relativePath,
                      const std::optional<CFileTime>& time, CFileProgress& progress) override;
    /// The server decides, by If-Match and If-None-Match. One that does not know them replaces the object.
    bool replace(CSession& session, const std::filesystem::path& file,
                 const std::filesystem::path& relativePath, const std::optional<String>& mark) override;
    bool isChecksum(const String& mark) const override;
    /// Compares MD5s. Of an object in parts, it reads the time from the metadata (HEAD).
    bool hasContent(const String& mark, const std::filesystem::path& relativePath,
                    const std::filesystem::path& file, const std::optional<CFileFacts>& facts) override;
    /// If a file has become a folder, deletes its old object after the whole folder is stored. If a folder
    /// has become a file, reports the objects that are left: there may be many, and others may need them.
    void finishUploads(const CFolderWalker& walker, bool isComplete, const Report& report) override;
    void remove(const String& relativeName) override;
    bool hasFolders() const override { return false; }
    const char* getNoun() const override { return "object"; }
    const char* getQuestionWhereEmpty() const override { return "is the prefix right?"; }

private:
    class CListing;
    class CObject;
    class CUnreadableObject;

    std::optional<std::filesystem::path> findRelativePath(const String& key) const;
    void handleGroup(const CFolderWalker& walker, bool isComplete, const Report& report,
                     const CObjectGroup& group);
    CPartedUpload makePartedUpload(const String& key, const CS3PutOptions& options) const;
    void storeObject(CSession& session, const std::filesystem::path& file, const String& key,
                     const CS3PutOptions& options);
    String findMark(const String& key);
    void checkListing(const String& key);
    bool areListingsEncoded();
    void deleteOutdated(const String& key, const Report& report);

    CS3Access& m_access;
    String m_bucket;
    String m_prefix;
    CUploadOptions m_upload;
    CDownloadOptions m_download;
    bool m_resumesUploads = false;
    std::optional<bool> m_areListingsEncoded;  // set after the server was asked
};

}  // namespace vexil::app
