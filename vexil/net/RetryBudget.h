#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "zet/Mutex.h"

namespace vexil {

/// How many retries a group of operations may make together, so that a server that is down does not get every
/// request many times: give one object to all of their policies (CRetryPolicy::Settings::budget).
///
/// Each retry takes 1 from it. Each success gives back a share, up to the number at the beginning. If less
/// than 1 is left, nothing is tried again.
///
/// Thread safety: any thread may call every member at any time.
class VEXIL_API CRetryBudget : public virtual CBase {
public:
    /// \param retries     at the beginning and at most; 0 to 1,000,000,000
    /// \param perSuccess  what a success gives back: 0 to 1, in steps of 0.001. 0.1 allows one retry for ten
    ///                    successes
    /// \throws CInvalidArgError for other arguments
    explicit CRetryBudget(int retries, double perSuccess = 0.1);
    CRetryBudget(const CRetryBudget&) = delete;
    CRetryBudget& operator=(const CRetryBudget&) = delete;
    ~CRetryBudget() override;

    /// Takes one retry. False if none is left.
    [[nodiscard]] bool take();
    /// Gives back the share of a success.
    void onSuccess();
    /// Whole retries that are left.
    [[nodiscard]] int getLeft() const;

private:
    const int64 m_max;  // in thousandths, like the others
    const int64 m_perSuccess;
    mutable zet::CMutex m_mutex;
    int64 m_left ZET_GUARDED_BY(m_mutex);
};

}  // namespace vexil
