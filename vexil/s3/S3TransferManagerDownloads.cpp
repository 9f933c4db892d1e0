#include "vexil/s3/S3Arguments.h"
#include "vexil/s3/S3Download.h"
#include "vexil/s3/S3DownloadTarget.h"
#include "vexil/s3/S3OptionHeaders.h"
#include "vexil/s3/S3PartFile.h"
#include "vexil/s3/S3PartSize.h"
#include "vexil/s3/S3TransferManager.h"

namespace vexil {

namespace {

constexpr int maxParallelParts = 1000;

void checkSettings(const char* place, const CS3TransferSettings& settings, int64 maxPartSize) {
    if (settings.parallelParts < 1 || settings.parallelParts > maxParallelParts) {
        throw CInvalidArgError(place, "parallelParts must be 1 to " + String::fromInt(maxParallelParts));
    }
    if (settings.partSize < 0 || settings.partSize > maxPartSize) {
        throw CInvalidArgError(place, "partSize must be 0 to " + String::fromInt(maxPartSize));
    }
}

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
    checkSettings(place, m_settings, CS3Client::maxPutSize);
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
    checkSettings(place, m_settings, maxMemoryPartSize);
    checkOptions(place, options);
    CS3StreamTarget target(*data, m_settings.parallelParts);
    const CS3DownloadSource source{bucket, key, options};
    return CS3Download(m_client, m_settings, source, target).run();
}

}  // namespace vexil
