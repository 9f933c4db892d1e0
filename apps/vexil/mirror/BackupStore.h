#pragma once

#include "apps/vexil/files/FileInStream.h"
#include "apps/vexil/transfer/Transfer.h"
#include "apps/vexil/transfer/TransferPolicy.h"

#include <filesystem>
#include <functional>
#include <memory>

namespace vexil::app {

class CFolderWalker;

/// Where a backup is kept.
class IBackupStore {
public:
    using Report = std::function<void(const String& name, const String& reason)>;

    virtual ~IBackupStore();

    /// How transfers to it are to be treated.
    virtual ITransferPolicy& getPolicy() = 0;
    /// Called before the first file.
    /// \throws what makes it unusable
    virtual void begin() = 0;
    /// What stores a file.
    /// \throws CError when it cannot be stored under its path
    virtual std::unique_ptr<ITransfer> makeUpload(const P<CFileInStream>& file,
                                                  const std::filesystem::path& folder,
                                                  const std::filesystem::path& relativePath) = 0;
    /// Called after the last file, when nothing is under way any more: puts right what was stored before, under names
    /// that are now of another kind, and tells what it cannot put right. Default: nothing.
    /// \param walker      knows what was backed up
    /// \param isComplete  whether all files were stored
    /// \param report      takes the name of an entry and what a restore of it would suffer from
    virtual void finish(const CFolderWalker& walker, bool isComplete, const Report& report);
};

}  // namespace vexil::app
