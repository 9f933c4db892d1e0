#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/NetRequest.h"

namespace vexil::app {

class CProgress;

/// Watches transfers from within (CURLOPT_XFERINFOFUNCTION): ends one when the user has interrupted the
/// program, which libcurl then reports as its code 42, and reports its bytes.
class CTransferMonitor : public virtual CBase {
public:
    /// Where bytes are reported; null, the default, for nowhere.
    void setProgress(CProgress* progress) { m_progress = progress; }

    /// Makes the request call this monitor, of which it keeps a reference.
    void watch(CNetRequest& request);

private:
    static int onTransfer(void* monitor, curl_off_t downloadTotal, curl_off_t downloaded,
                          curl_off_t uploadTotal, curl_off_t uploaded) noexcept;

    CProgress* m_progress = nullptr;
};

}  // namespace vexil::app
