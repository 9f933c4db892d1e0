#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

namespace vexil {

class CNetRequest;

/// Runs requests beside each other: either on the caller's thread (CAsyncNetRequestManager) or on one of its own
/// (CAsyncNetRequestThread).
class VEXIL_API IAsyncNetRequestManager : public virtual IBase {
public:
    /// Starts the transfer of a request, of which a reference is kept until it has ended or is removed. Its end
    /// is told to the request: see CNetRequest::waitAsyncDone() and CNetRequest::checkAsyncResult().
    ///
    /// From here to its end the request belongs to whoever runs it: only its asynchronous hooks may be used.
    /// \param request  configured, not performed and not running elsewhere; null is a CInvalidArgError
    virtual void addRequest(CNetRequest* request) = 0;
    /// Gives up a transfer, whose request is not told: it stays as it was, and may be added again.
    /// \return whether the request was running
    virtual bool removeRequest(CNetRequest* request) = 0;

protected:
    ~IAsyncNetRequestManager() override;
};

}  // namespace vexil
