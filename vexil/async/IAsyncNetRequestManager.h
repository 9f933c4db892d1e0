#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

namespace vexil {

class CNetRequest;

/// Runs requests in parallel, either on the caller's thread (CAsyncNetRequestManager) or on its own thread
/// (CAsyncNetRequestThread).
class VEXIL_API IAsyncNetRequestManager : public virtual IBase {
public:
    /// Starts the transfer of a request. A reference is kept until the transfer has ended or is removed. The
    /// request is notified of the end: see CNetRequest::waitAsyncDone() and CNetRequest::checkAsyncResult().
    ///
    /// Until the end of the transfer the manager uses the request: others may call only its asynchronous
    /// members.
    /// \param request  configured and not running anywhere; null is a CInvalidArgError
    virtual void addRequest(CNetRequest* request) = 0;
    /// Stops a transfer. The request is not notified; its state does not change, and it may be added again.
    /// \return true if the request was running
    virtual bool removeRequest(CNetRequest* request) = 0;

protected:
    ~IAsyncNetRequestManager() override;
};

}  // namespace vexil
