#pragma once

#include "vexil/net/NetRequest.h"
#include "vexil/net/NetRequestSetup.h"

#include <concepts>
#include <utility>

namespace vexil {

/// A set-up hook that calls a function; see makeRequestSetup().
template <class Function>
class TFunctionRequestSetup final : public virtual CBase, public INetRequestSetup {
public:
    /// \param function  copied or moved into the object
    explicit TFunctionRequestSetup(Function function) : m_function(std::move(function)) {}

    void setUp(CNetRequest& request) override { m_function(request); }

private:
    Function m_function;
};

/// Makes a hook for the setRequestSetup() members of the clients that calls a function in each preparation.
/// See INetRequestSetup for what it may set.
///
/// \code
/// client.setRequestSetup(makeRequestSetup([](CNetRequest& request) { request.setProxy("proxy:3128"); }));
/// \endcode
/// \return never null
template <std::invocable<CNetRequest&> Function>
[[nodiscard]] P<INetRequestSetup> makeRequestSetup(Function function) {
    return new TFunctionRequestSetup<Function>(std::move(function));
}

}  // namespace vexil
