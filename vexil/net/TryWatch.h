#pragma once

#include "vexil/net/ITransferMetrics.h"
#include "vexil/net/TryLog.h"

#include <utility>

namespace vexil {

/// Watches the tries of one operation for its record and for the metrics of the program. Does nothing unless
/// one of them is wanted.
class CTryWatch {
public:
    /// Watches nothing.
    CTryWatch() = default;
    /// \param metrics  null for none
    CTryWatch(bool recordsTries, P<ITransferMetrics> metrics)
        : m_recordsTries(recordsTries), m_metrics(std::move(metrics)) {}

    [[nodiscard]] bool recordsTries() const noexcept { return m_recordsTries; }
    [[nodiscard]] const CTryLog& getLog() const noexcept { return m_log; }
    [[nodiscard]] CTryLog takeLog() { return std::exchange(m_log, {}); }

    void begin() {
        if (m_recordsTries || m_metrics) {
            m_log.begin();
        }
    }
    /// \param error  null for a success
    void end(CNetRequest& request, const CError* error);
    void onRetry(std::chrono::milliseconds pause);
    void attachTo(CError& error) const {
        if (m_recordsTries) {
            m_log.attachTo(error);
        }
    }

private:
    bool m_recordsTries = false;
    P<ITransferMetrics> m_metrics;
    CTryLog m_log;
};

}  // namespace vexil
