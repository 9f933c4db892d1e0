#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

namespace vexil {

class CNetRequest;

/// What a caller of a client's convenience operations wants set on every request: CA bundle, proxy,
/// time-outs, verbose log, done listener.
///
/// The client calls it as the last step of the common beginning of each preparation, on the caller's thread.
/// It may not set URL, method, header list, source, sink or range: those belong to the operation, and a
/// replaced URL, method, header list or sink is a CInvalidArgError. What it throws ends the operation before
/// anything is sent.
///
/// \code
/// class CSetup : public virtual CBase, public INetRequestSetup {
///     void setUp(CNetRequest& request) override { request.setProxy("proxy.example.com:3128"); }
/// };
/// client.setRequestSetup(new CSetup);  // keeps a reference
/// \endcode
class VEXIL_API INetRequestSetup : public virtual IBase {
public:
    /// Sets what the caller wants. `request` is the client's caller's own, just reset and prepared.
    virtual void setUp(CNetRequest& request) = 0;

protected:
    ~INetRequestSetup() override;
};

}  // namespace vexil
