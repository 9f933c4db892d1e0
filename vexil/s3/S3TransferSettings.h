#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/async/ITransferObserver.h"
#include "vexil/net/CancelToken.h"
#include "vexil/net/RetryPolicy.h"
#include "vexil/s3/IS3TransferObserver.h"

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
    /// Gets the progress; a reference is kept. Null for none.
    P<IS3TransferObserver> observer = nullptr;
    /// How long temporary failures are tried again. Each transfer uses its own copy.
    CRetryPolicy retryPolicy = CRetryPolicy();
    /// The time at which a transfer fails with code 28 (CURLE_OPERATION_TIMEDOUT) unless it is done.
    std::optional<CRetryPolicy::Clock::time_point> deadline = std::nullopt;
    /// Compares the content with ETags that look like an MD5, unless the service says that it encrypts.
    /// False is for services that send other 32 hexadecimal digits.
    bool verifiesETags = true;
    /// Keeps the parts of an upload that has failed, or was cancelled, so that it can be resumed. By default
    /// they are deleted.
    bool keepsForResume = false;
    /// Watches the requests of uploads, for a program that logs them; a reference is kept. Null for none. It
    /// is called on the thread that called the manager. An exception ends the upload. For the request that
    /// deletes parts its checkContinue() is not called.
    P<ITransferObserver> requestObserver = nullptr;
};

}  // namespace vexil
