#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/NetRequest.h"

namespace vexil::app {

class CFileProgress;

/// Watches the transfers of one request from within (CURLOPT_XFERINFOFUNCTION): ends one when the user has
/// interrupted the program, which libcurl then reports as its code 42, and reports its bytes.
///
/// While the request is transferred, only the thread that drives it uses the monitor.
class CTransferMonitor : public virtual CBase {
public:
    /// The monitor of a request, which lasts as long as the request.
    static CTransferMonitor& of(CNetRequest& request);

    /// Where bytes are reported, until this is called again; null, the default, for nowhere.
    void setFile(CFileProgress* file) { m_file = file; }

    /// Makes the request call its monitor, until it is reset.
    static void watch(CNetRequest& request);

private:
    static int onTransfer(void* monitor, curl_off_t downloadTotal, curl_off_t downloaded,
                          curl_off_t uploadTotal, curl_off_t uploaded) noexcept;

    CFileProgress* m_file = nullptr;
};

}  // namespace vexil::app
