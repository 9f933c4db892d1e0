#pragma once

#include "apps/vexil/mirror/BackupStore.h"
#include "apps/vexil/s3/ObjectGroups.h"

#include <optional>

namespace vexil::app {

class CS3Access;

/// Stores a backup as objects below a prefix.
class CS3BackupStore : public IBackupStore {
public:
    /// The access must outlive it.
    /// \param prefix  comes before the path of each file, with a "/" between them
    CS3BackupStore(CS3Access& access, const String& bucket, const String& prefix);

    ITransferPolicy& getPolicy() override;
    void begin() override {}
    std::unique_ptr<ITransfer> makeUpload(const P<CFileInStream>& file, const std::filesystem::path& folder,
                                          const std::filesystem::path& relativePath) override;
    /// If a file has become a folder, deletes its old object after the whole folder is stored. If a folder
    /// has become a file, reports the objects that are left: there may be many, and others may need them.
    void finish(const CFolderWalker& walker, bool isComplete, const Report& report) override;

private:
    void handleGroup(const CFolderWalker& walker, bool isComplete, const Report& report,
                     const CObjectGroup& group);
    void checkListing(const String& key);
    bool areListingsEncoded();
    void deleteOutdated(const String& key, const Report& report);

    CS3Access& m_access;
    String m_bucket;
    String m_prefix;
    std::optional<bool> m_areListingsEncoded;  // set after the server was asked
};

}  // namespace vexil::app
