#pragma once

#include "vexil/net/NetRequest.h"

#include <concepts>
#include <utility>

namespace vexil {

/// A progress object that calls a function; see makeProgress().
template <class Function>
class TFunctionProgress final : public virtual CBase, public CNetRequest::ITransferProgress {
public:
    /// \param function  copied or moved into the object
    explicit TFunctionProgress(Function function) : m_function(std::move(function)) {}

    void onProgress(int64 downloaded, int64 downloadTotal, int64 uploaded, int64 uploadTotal) override {
        m_function(downloaded, downloadTotal, uploaded, uploadTotal);
    }

private:
    Function m_function;
};

/// Makes an object for CNetRequest::setTransferProgress() that calls a function, at most 20 times a second,
/// on the thread that drives the transfer. An exception ends the transfer.
///
/// \code
/// request->setTransferProgress(
///     makeProgress([](int64 done, int64 total, int64, int64) { show(done, total); }));
/// \endcode
/// \param function  takes the arguments of CNetRequest::ITransferProgress::onProgress(): bytes downloaded,
///                  their total, bytes uploaded, their total; a total is 0 while it is unknown
/// \return never null
template <std::invocable<int64, int64, int64, int64> Function>
[[nodiscard]] P<CNetRequest::ITransferProgress> makeProgress(Function function) {
    return new TFunctionProgress<Function>(std::move(function));
}

}  // namespace vexil
