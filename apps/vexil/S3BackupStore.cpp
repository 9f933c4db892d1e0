#include "apps/vexil/S3BackupStore.h"

#include "apps/vexil/Context.h"
#include "apps/vexil/ObjectKey.h"
#include "apps/vexil/ObjectUpload.h"

namespace vexil::app {

namespace {

constexpr const char* contentType = "application/octet-stream";

}  // namespace

CS3BackupStore::CS3BackupStore(CContext& context, const String& bucket, const String& prefix)
    : m_context(context), m_bucket(bucket), m_prefix(makeFolderPrefix(prefix)) {}

ITransferPolicy& CS3BackupStore::getPolicy() {
    return m_context.getS3Policy();
}

std::unique_ptr<ITransfer> CS3BackupStore::makeUpload(const P<CFileInStream>& file,
                                                      const std::filesystem::path&,
                                                      const std::filesystem::path& relativePath) {
    return std::make_unique<CObjectUpload>(m_context, file, m_bucket, makeObjectKey(m_prefix, relativePath),
                                           contentType);
}

}  // namespace vexil::app
