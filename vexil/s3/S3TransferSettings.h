#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/async/ITransferObserver.h"
#include "vexil/async/PauseToken.h"
#include "vexil/net/CancelToken.h"
#include "vexil/net/ITransferMetrics.h"
#include "vexil/net/RateLimit.h"
#include "vexil/net/RetryPolicy.h"
#include "vexil/s3/IS3TransferObserver.h"
#include "vexil/s3/S3SigningOptions.h"

#include <optional>

namespace vexil {

/// How CS3TransferManager transfers objects.
struct CS3TransferSettings {
    /// How many parts are transferred at once, at most: 1 to 1,000.
    int parallelParts = 8;
    /// Bytes of a part. 0: 8 MiB. Parts of uploads have at least 5 MiB, and get larger if the object would
    /// need more than 10,000 of them.
    int64 partSize = 0;
    /// Cancels the transfer from any thread; a reference is kept. Null for none.
    P<CCancelToken> cancelToken = nullptr;
    /// Pauses the transfer, and continues it, from any thread; a reference is kept. Null for none.
    P<CPauseToken> pauseToken = nullptr;
    /// All requests of the transfer share the limit, with other transfers that use it; a reference is kept.
    /// Null for none.
    P<CRateLimit> rateLimit = nullptr;
    /// Gets the progress; a reference is kept. Null for none.
    P<IS3TransferObserver> observer = nullptr;
    /// How long temporary failures are tried again. Each transfer uses its own copy.
    CRetryPolicy retryPolicy = CRetryPolicy();
    /// The time at which a transfer fails with code 28 (CURLE_OPERATION_TIMEDOUT) unless it is done.
    std::optional<CRetryPolicy::Clock::time_point> deadline = std::nullopt;
    /// Compares the content with ETags that look like an MD5, unless the service says that it encrypts.
    /// False is for services that send other 32 hexadecimal digits.
    bool verifiesETags = true;
    /// Asks for the checksums of the object (CS3GetOptions::asksForChecksum) with the first request of a
    /// download, and compares the content with them. False is for services that refuse such requests.
    bool verifiesChecksums = true;
    /// When the bytes of uploads are hashed, see CS3Client::setUploadCheck(). By default while they are sent
    /// over https, unless the options of an object have a lock, for which Amazon demands a `Content-MD5`;
    /// over http, as the client does. Set S3UploadCheck::BeforeSending for buckets that lock all objects. It
    /// has no effect without `verifiesETags`: the hashes are then computed before.
    std::optional<S3UploadCheck> uploadCheck = std::nullopt;
    /// Keeps the parts of an upload that has failed, or was cancelled, so that it can be resumed. By default
    /// they are deleted.
    bool keepsForResume = false;
    /// Stores the bytes of a part with each object that is uploaded in parts of one size, as the metadata
    /// "vexil-part-size": a decimal number, for every part except the last. With it a download can compare
    /// the ETag also if the service does not tell how large the parts were. Objects of one PUT, and those of
    /// uploadStream(), whose parts may grow, do not get it. Metadata of the same name is a CInvalidArgError.
    bool storesPartSize = false;
    /// Watches the requests, for a program that logs them; a reference is kept. Null for none. It
    /// is called on the thread that called the manager. An exception ends the transfer. For the request that
    /// deletes parts its checkContinue() is not called.
    P<ITransferObserver> requestObserver = nullptr;
    /// Keeps a record of all tries of each request: of a part, of the begin or end of an upload. It is given
    /// to IS3TransferObserver::onTries(), and attached to the error of the transfer (CTryLog::fromError()).
    bool recordsTries = false;
    /// Counts the requests, also those that delete parts; a reference is kept. Null for none. It is called
    /// on the thread that called the manager.
    P<ITransferMetrics> metrics = nullptr;
};

}  // namespace vexil
