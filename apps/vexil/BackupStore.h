#pragma once

#include "apps/vexil/FileInStream.h"
#include "apps/vexil/Transfer.h"
#include "apps/vexil/TransferPolicy.h"

#include <filesystem>
#include <memory>

namespace vexil::app {

/// Where a backup is kept.
class IBackupStore {
public:
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
};

}  // namespace vexil::app
