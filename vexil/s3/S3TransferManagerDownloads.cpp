#include "vexil/s3/S3Arguments.h"
#include "vexil/s3/S3Download.h"
#include "vexil/s3/S3DownloadTarget.h"
#include "vexil/s3/S3OptionHeaders.h"
#include "vexil/s3/S3PartFile.h"
#include "vexil/s3/S3PartSize.h"
#include "vexil/s3/S3TransferManager.h"

namespace vexil {

namespace {

void checkOptions(const char* place, const CS3GetOptions& options) {
    checkGetOptions(place, options);
    if (options.partNumber != 0) {
        throw CInvalidArgError(place, "partNumber must be 0, because the whole object is read");
    }
}

}  // namespace

CS3DownloadResult CS3TransferManager::downloadFile(const String& bucket, const String& key,
                                                   const std::filesystem::path& path,
                                                   const CS3GetOptions& options) {
    static constexpr char place[] = "CS3TransferManager::downloadFile";
    checkNames(place, bucket, key);
    CS3TransferControl::check(place, m_settings, 1, CS3Client::maxPutSize);
    checkOptions(place, options);
    if (!path.has_filename()) {
        throw CInvalidArgError(place, "path must have the name of a file");
    }
    CS3PartFile file(path, bucket + "\n" + key + "\n" + options.versionId);
    CS3FileTarget target(file);
    const CS3DownloadSource source{bucket, key, options};
    return CS3Download(m_client, m_settings, source, target).run();
}

CS3DownloadResult CS3TransferManager::download(const String& bucket, const String& key, zet::IOutStream* data,
                                               const CS3GetOptions& options) {
    static constexpr char place[] = "CS3TransferManager::download";
    const P<zet::IOutStream> held = data;
    checkNames(place, bucket, key);
    if (!data) {
        throw CInvalidArgError(place, "data stream must not be null");
    }
    CS3TransferControl::check(place, m_settings, 1, maxMemoryPartSize);
    checkOptions(place, options);
    CS3StreamTarget target(*data, m_settings.parallelParts);
    const CS3DownloadSource source{bucket, key, options};
    return CS3Download(m_client, m_settings, source, target).run();
}

}  // namespace vexil
