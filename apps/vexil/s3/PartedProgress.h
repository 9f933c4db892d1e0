#pragma once

#include "apps/vexil/console/Progress.h"
#include "vexil/s3/IS3TransferObserver.h"

#include <algorithm>

namespace vexil::app {

/// Shows the progress of a transfer in parts.
class CPartedProgress : public virtual CBase, public IS3TransferObserver {
public:
    /// The progress must outlive it.
    explicit CPartedProgress(CFileProgress& progress) : m_progress(progress) {}

    void onProgress(int64 doneBytes, int64 totalBytes) override {
        m_progress.update(doneBytes, std::max<int64>(totalBytes, 0));
    }

private:
    CFileProgress& m_progress;
};

}  // namespace vexil::app
