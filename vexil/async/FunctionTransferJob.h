#pragma once

#include "vexil/async/ITransferJob.h"

#include <functional>

namespace vexil {

/// Makes a job for CTransferQueue::start() of functions. They are called on the thread that uses the queue.
///
/// \code
/// queue.start(makeTransferJob([url](CNetRequest& request) { request.setURL(url); },
///                             [url](CNetRequest& request) { store(url, request.getReceivedBytes()); },
///                             [url](const CError& error) { report(url, error); }));
/// \endcode
/// \param prepare    sets URL, options and sink, before each try: see ITransfer::prepare(). It must make a
///                   new stream or sink, because a try that has failed may have filled the old one
/// \param onSuccess  see ITransferJob::onSuccess(). An exception makes the job fail. May be null
/// \param onFailure  see ITransferJob::onFailure(). An exception ends the queue
/// \return never null
/// \throws CInvalidArgError if `prepare` or `onFailure` is null
[[nodiscard]] VEXIL_API P<ITransferJob> makeTransferJob(std::function<void(CNetRequest& request)> prepare,
                                                        std::function<void(CNetRequest& request)> onSuccess,
                                                        std::function<void(const CError& error)> onFailure);

}  // namespace vexil
