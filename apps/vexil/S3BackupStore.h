#pragma once

#include "apps/vexil/BackupStore.h"

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

private:
    CContext& m_context;
    String m_bucket;
    String m_prefix;
};

}  // namespace vexil::app
