#include "apps/vexil/s3/PartedDownload.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/s3/PartedProgress.h"
#include "apps/vexil/s3/S3Access.h"
#include "apps/vexil/transfer/SessionQueue.h"
#include "vexil/s3/S3TransferManager.h"
#include "zet/ParseNumber.h"

namespace vexil::app {

namespace {

constexpr int64 smallestPart = int64{5} << 20;

/// Whether it ends in "-" and the number of parts.
bool isOfParts(const String& eTag) {
    const String text = eTag.startsWith("\"") ? eTag.substr(1, eTag.length() - 2) : eTag;
    const std::size_t minus = text.findLast(L'-');
    return minus != String::npos && zet::parseInt64(text.substr(minus + 1), int64{0}) > 0;
}

CS3TransferSettings makeSettings(CS3Access& access, const CDownloadOptions& options,
                                 CFileProgress& progress) {
    CS3TransferSettings settings;
    settings.parallelParts = options.getParts().getJobs();
    settings.partSize = options.getParts().getSize();
    settings.observer = make<CPartedProgress>(progress);
    settings.requestObserver = makeSessionObserver(access.getSession());
    settings.retryPolicy = access.getRetryPolicy();
    settings.verifiesETags = access.verifiesETags();
    return settings;
}

void finish(CS3Access& access, const CPartedDownload& download, const CS3DownloadResult& result,
            CFileProgress& progress) {
    CConsole& console = access.getConsole();
    const String name = "vexil: '" + printable(download.key) + "'";
    if (result.resumedBytes > 0) {
        console.message(Verbosity::Info, name + " continued after " + formatBytes(result.resumedBytes) +
                                             " that an earlier program has left.");
    }
    if (result.check == S3ContentCheck::None && access.verifiesETags()) {
        console.message(Verbosity::Info, name + " has an ETag with which its content cannot be compared.");
    }
    progress.complete(result.size);
}

}  // namespace

bool isReadInParts(const CDownloadOptions& options, int64 size, const String& eTag) {
    const bool isStrong = !eTag.isEmpty() && !eTag.startsWith("W/");
    return isStrong && (size > options.getParts().getLimit() || (size > smallestPart && isOfParts(eTag)));
}

void downloadInParts(CS3Access& access, const CPartedDownload& download, const std::filesystem::path& file,
                     CFileProgress& progress) {
    CS3TransferManager manager(access.getClient(), makeSettings(access, download.options, progress));
    finish(access, download, manager.downloadFile(download.bucket, download.key, file), progress);
}

void downloadInParts(CS3Access& access, const CPartedDownload& download, zet::IOutStream& stream,
                     CFileProgress& progress) {
    CS3TransferManager manager(access.getClient(), makeSettings(access, download.options, progress));
    finish(access, download, manager.download(download.bucket, download.key, &stream), progress);
}

}  // namespace vexil::app
