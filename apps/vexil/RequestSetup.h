#pragma once

#include "apps/vexil/Options.h"
#include "apps/vexil/TransferMonitor.h"
#include "vexil/net/NetRequest.h"
#include "vexil/net/NetRequestSetup.h"

namespace vexil::app {

class CConsole;

/// Sets the program's options on every request: certificates, time-outs, the watch over its bytes and the
/// wire log.
class CRequestSetup : public virtual CBase, public INetRequestSetup {
public:
    /// The console must outlive it.
    /// \throws CInvalidArgError when the CA bundle cannot be read
    CRequestSetup(const COptions& options, CConsole& console);

    const P<CTransferMonitor>& getMonitor() const noexcept { return m_monitor; }

    /// The requests from now on ask for an object only if it has this ETag (RFC 9110, 13.1.1); "" for no
    /// such condition.
    void setRequiredETag(const String& eTag) { m_requiredETag = eTag; }

    void setUp(CNetRequest& request) override;

private:
    void setTimeouts(CNetRequest& request) const;

    COptions m_options;
    P<CTransferMonitor> m_monitor;
    P<CNetRequest::IDoneListener> m_wireLog;
    String m_requiredETag;
};

}  // namespace vexil::app
