#pragma once

#include "apps/vexil/mirror/BackupStore.h"
#include "apps/vexil/s3/ObjectGroups.h"

#include <optional>

namespace vexil::app {

class CContext;

/// Keeps a backup as objects below a prefix.
class CS3BackupStore : public IBackupStore {
public:
    /// The context must outlive it.
    /// \param prefix  goes before the path of each file; a "/" is put between them
    CS3BackupStore(CContext& context, const String& bucket, const String& prefix);

    ITransferPolicy& getPolicy() override;
    void begin() override {}
    std::unique_ptr<ITransfer> makeUpload(const P<CFileInStream>& file, const std::filesystem::path& folder,
                                          const std::filesystem::path& relativePath) override;
    /// Deletes the old object of what has become a folder, when all of the folder is stored. Tells of objects that are
    /// left from a folder that has become a file: there may be many, and others may need them.
    void finish(const CFolderWalker& walker, bool isComplete, const Report& report) override;

private:
    void handleGroup(const CFolderWalker& walker, bool isComplete, const Report& report,
                     const CObjectGroup& group);
    void checkListing(const String& key);
    bool areListingsEncoded();
    void deleteOutdated(const String& key, const Report& report);

    CContext& m_context;
    String m_bucket;
    String m_prefix;
    std::optional<bool> m_areListingsEncoded;  // set when it was asked for
};

}  // namespace vexil::app
