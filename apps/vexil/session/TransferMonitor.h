#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/NetRequest.h"

#include <atomic>
#include <thread>

namespace vexil::app {

class CFileProgress;

/// Watches the transfers of one request from inside: cancels a transfer after an interrupt by the user, which
/// then fails with libcurl's code 42, and reports its bytes.
///
/// If the request is performed on the thread that has made the monitor, it reports on that thread. For a
/// request that another thread drives, call report() regularly: a worker must not print, because a slow
/// reader could block it.
class CTransferMonitor : public virtual CBase, public CNetRequest::ITransferProgress {
public:
    /// The monitor of a request, which lives as long as the request.
    static CTransferMonitor& of(CNetRequest& request);

    /// Receives the bytes until the next call; null, the default, for none.
    /// \param offset  bytes of the file that earlier transfers have moved
    void setFile(CFileProgress* file, int64 offset = 0) {
        m_file = file;
        setOffset(offset);
    }
    /// The next transfer begins this many bytes after the beginning of the file.
    void setOffset(int64 offset) {
        m_offset = offset;
        m_bytes = 0;
        m_total = 0;
    }
    /// Bytes of the last transfer, sent and received.
    int64 getBytes() const noexcept { return m_bytes; }
    /// Reports the bytes of the running transfer.
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
    std::atomic<int64> m_total{0};  // the same; 0 if unknown
};

}  // namespace vexil::app
