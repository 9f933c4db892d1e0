#pragma once

#include "apps/vexil/ftp/FTPAccess.h"
#include "apps/vexil/ftp/FTPStore.h"
#include "apps/vexil/mirror/FolderStore.h"
#include "apps/vexil/s3/S3Access.h"
#include "apps/vexil/s3/S3Store.h"

#include <memory>

namespace vexil::app {

struct CDestination;

/// The store of a destination, with the access to its server.
class COpenStore {
public:
    /// Sends nothing. The session must outlive it.
    /// \param s3  how files are stored in, or fetched from, S3: CUploadOptions or CDownloadOptions
    /// \throws CInvalidArgError for missing credentials and settings that cannot be used
    template <class S3Options>
    COpenStore(CSession& session, const CDestination& destination, const S3Options& s3);

    IStore& get() noexcept { return *m_store; }

private:
    template <class S3Options>
    void openS3(const CDestination& destination, const S3Options& s3);

    std::unique_ptr<CS3Access> m_s3;
    std::unique_ptr<CFTPAccess> m_ftp;
    std::unique_ptr<IStore> m_store;
};

}  // namespace vexil::app
