#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

#include <memory>

namespace vexil {

class CIdleConnections;
class CNetRequest;

/// Open connections, TLS sessions and resolved names that requests use one after the other, each in
/// CNetRequest::perform(). For programs that create a request object for each transfer: 20 of them to one
/// server make one connection. docs/requests.md tells what is never shared.
///
/// A transfer borrows the connections for its server and its demands on security, and gives them back when it
/// ends. If all of them are in use, it begins with none. libcurl never uses one connection in two threads at
/// once.
///
/// Thread safety: any thread may call every member at any time. Requests that have the same object may
/// perform in several threads at once.
///
/// Lifetime: each request keeps a reference. The connections are closed when the last one is released.
/// After fork() only one of the two processes may use the object.
///
/// \code
/// P<CSharedConnections> connections = new CSharedConnections;
/// // for each transfer, in any thread:
/// P<CNetRequest> request = new CNetRequest;
/// setSharedConnections(*request, connections);
/// request->setURL("https://example.com/a");
/// request->perform();
/// \endcode
class VEXIL_API CSharedConnections : public virtual CBase {
public:
    /// \param maxIdle  how many transfers can find their connections at most: if more wait for the next
    ///                 transfer, those unused for the longest time are closed. 0 keeps none
    /// \throws CInvalidArgError for a negative number
    explicit CSharedConnections(int maxIdle = 32);
    CSharedConnections(const CSharedConnections&) = delete;
    CSharedConnections& operator=(const CSharedConnections&) = delete;
    ~CSharedConnections() override;

    /// Closes the connections that no transfer uses now, and forgets their TLS sessions and names.
    void closeIdle() noexcept;
    /// How many transfers could find their connections now.
    [[nodiscard]] int getIdleCount() const;

private:
    friend class CConnectionChoice;

    const std::unique_ptr<CIdleConnections> m_idle;
};

/// Gives a request connections to share, for its transfers from now on; null for its own ones. Survives
/// CNetRequest::reset(). Default null.
///
/// Without effect for transfers of a manager or worker, which share the connections of their driver, and for
/// requests with CNetRequest::setKeepsOwnConnections() or CURLOPT_SHARE. Do not set options on
/// CNetRequest::getHandle() of such a request: they are not seen, and another request may use its connection.
VEXIL_API void setSharedConnections(CNetRequest& request, CSharedConnections* connections) noexcept;

}  // namespace vexil
