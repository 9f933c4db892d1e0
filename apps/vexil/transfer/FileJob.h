#pragma once

#include "apps/vexil/console/Progress.h"
#include "vexil/async/ITransferJob.h"

namespace vexil::app {

/// A job that shows how many bytes of its file are transferred.
class CFileJob : public virtual CBase, public ITransferJob {
public:
    /// \param name  the name to show; "" for none
    CFileJob(CProgress& progress, const String& name) : m_progress(progress, name) {}
    ~CFileJob() override;

    void onAttach(CNetRequest& request) override;
    void onDetach(CNetRequest& request) noexcept override;

protected:
    CFileProgress& getProgress() noexcept { return m_progress; }

private:
    CFileProgress m_progress;
};

}  // namespace vexil::app
