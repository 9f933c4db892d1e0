#pragma once

#include "vexil/net/NetRequest.h"

#include <concepts>
#include <utility>

namespace vexil {

/// A done listener that calls a function; see makeDoneListener().
template <class Function>
class TFunctionDoneListener final : public virtual CBase, public CNetRequest::IDoneListener {
public:
    /// \param function  copied or moved into the object
    explicit TFunctionDoneListener(Function function) : m_function(std::move(function)) {}

    void onDone(CNetRequest* request, CError* error) override { m_function(request, error); }

private:
    Function m_function;
};

/// Makes a listener for CNetRequest::setDoneListener() that calls a function at the end of each transfer, on
/// the thread that drives it.
///
/// \code
/// request->setDoneListener(makeDoneListener([](CNetRequest*, CError* error) { report(error); }));
/// \endcode
/// \param function  takes the arguments of CNetRequest::IDoneListener::onDone(); the error is null on success
/// \return never null
template <std::invocable<CNetRequest*, CError*> Function>
[[nodiscard]] P<CNetRequest::IDoneListener> makeDoneListener(Function function) {
    return new TFunctionDoneListener<Function>(std::move(function));
}

}  // namespace vexil
