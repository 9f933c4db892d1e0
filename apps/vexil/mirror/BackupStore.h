#pragma once

#include "apps/vexil/files/FileInStream.h"
#include "apps/vexil/transfer/Transfer.h"
#include "apps/vexil/transfer/TransferPolicy.h"

#include <filesystem>
#include <functional>
#include <memory>

namespace vexil::app {

class CFolderWalker;

/// The place that stores a backup.
class IBackupStore {
public:
    using Report = std::function<void(const String& name, const String& reason)>;

    virtual ~IBackupStore();

    /// The policy for transfers to it.
    virtual ITransferPolicy& getPolicy() = 0;
    /// Called before the first file.
    /// \throws errors that make the store unusable
    virtual void begin() = 0;
    /// Makes the upload of a file.
    /// \throws CError if the file cannot be stored under its path
    virtual std::unique_ptr<ITransfer> makeUpload(const P<CFileInStream>& file,
                                                  const std::filesystem::path& folder,
                                                  const std::filesystem::path& relativePath) = 0;
    /// Called after the last file, when no transfer runs. Corrects entries that earlier backups have stored
    /// under names that now have another type, and reports entries that it cannot correct. Does nothing by
    /// default.
    /// \param walker      knows the files of the backup
    /// \param isComplete  whether all files were stored
    /// \param report      receives the name of an entry, and the problem that it causes in a restore
    virtual void finish(const CFolderWalker& walker, bool isComplete, const Report& report);
};

}  // namespace vexil::app
