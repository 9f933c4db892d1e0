#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/NetRequest.h"

#include <atomic>
#include <thread>

namespace vexil::app {

class CFileProgress;

/// Watches the transfers of one request from within: cancels one when the user has interrupted the program, which
/// then fails with libcurl's code 42, and reports its bytes.
///
/// It reports on the thread that has made it, where the request is performed there. For a request that another thread
/// drives, call report() now and then: a worker that shows something can be held up by whoever does not read it.
class CTransferMonitor : public virtual CBase, public CNetRequest::ITransferProgress {
public:
    /// The monitor of a request, which lasts as long as the request.
    static CTransferMonitor& of(CNetRequest& request);

    /// Where bytes are reported, until this is called again; null, the default, for nowhere.
    /// \param offset  bytes of the file that earlier transfers have moved
    void setFile(CFileProgress* file, int64 offset = 0) {
        m_file = file;
        setOffset(offset);
    }
    /// The next transfer begins so many bytes behind the file's start.
    void setOffset(int64 offset) {
        m_offset = offset;
        m_bytes = 0;
        m_total = 0;
    }
    /// Bytes of the last transfer, sent and received.
    int64 getBytes() const noexcept { return m_bytes; }
    /// Reports the bytes of the transfer that runs.
    void report();

    /// Makes the request call its monitor, until it is reset.
    static void watch(CNetRequest& request);

    void onProgress(int64 downloaded, int64 downloadTotal, int64 uploaded, int64 uploadTotal) override;

private:
    explicit CTransferMonitor(CNetRequest& request) : m_request(request) {}

    CNetRequest& m_request;  // keeps the monitor
    const std::thread::id m_thread = std::this_thread::get_id();
    CFileProgress* m_file = nullptr;
    int64 m_offset = 0;
    std::atomic<int64> m_bytes{0};  // written by the thread that drives the request
    std::atomic<int64> m_total{0};  // the same; 0 while it is unknown
};

}  // namespace vexil::app
