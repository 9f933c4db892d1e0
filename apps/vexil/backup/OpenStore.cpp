#include "apps/vexil/backup/OpenStore.h"

#include "apps/vexil/backup/Destination.h"
#include "apps/vexil/ftp/FTPPath.h"
#include "apps/vexil/session/Setting.h"

namespace vexil::app {

template <class S3Options>
COpenStore::COpenStore(CSession& session, const CDestination& destination, const S3Options& s3) {
    switch (destination.kind) {
    case CDestination::Kind::S3:
        m_s3 = std::make_unique<CS3Access>(session);
        openS3(destination, s3);
        break;
    case CDestination::Kind::FTP:
        m_ftp = std::make_unique<CFTPAccess>(session, CFTPServer{destination.server, destination.security});
        m_store = std::make_unique<CFTPStore>(*m_ftp, makeServerPath(destination.directory));
        break;
    case CDestination::Kind::Folder:
        refuseUnknownProfile(session.getOptions());
        m_store = std::make_unique<CFolderStore>(session.getConsole(), destination.folder);
        break;
    }
}

template <class S3Options>
void COpenStore::openS3(const CDestination& destination, const S3Options& s3) {
    auto store = std::make_unique<CS3Store>(*m_s3, destination.bucket, destination.prefix, s3);
    store->setResumesUploads(true);
    m_store = std::move(store);
}

template COpenStore::COpenStore(CSession&, const CDestination&, const CUploadOptions&);
template COpenStore::COpenStore(CSession&, const CDestination&, const CDownloadOptions&);

}  // namespace vexil::app
