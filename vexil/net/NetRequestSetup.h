#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

namespace vexil {

class CNetRequest;

/// A hook that sets options on every request of a client: CA bundle, proxy, time-outs, verbose log, done
/// listener.
///
/// The client calls it on the caller's thread, at the end of the part of the preparation that all operations
/// share. Do not set URL, method, header list, source, sink or range: the operation sets them. A replaced
/// URL, method, header list or sink is a CInvalidArgError. An exception from the hook ends the operation
/// before anything is sent.
///
/// \code
/// class CSetup : public virtual CBase, public INetRequestSetup {
///     void setUp(CNetRequest& request) override { request.setProxy("proxy.example.com:3128"); }
/// };
/// client.setRequestSetup(new CSetup);  // keeps a reference
/// \endcode
class VEXIL_API INetRequestSetup : public virtual IBase {
public:
    /// Sets the options.
    /// \param request  the request that the client was called with, reset and prepared
    virtual void setUp(CNetRequest& request) = 0;

protected:
    ~INetRequestSetup() override;
};

}  // namespace vexil
