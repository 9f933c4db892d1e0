#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/net/TryLog.h"

namespace vexil {

/// Watches the uploads and downloads of a CS3TransferManager. Each function does nothing by default.
///
/// Thread safety: called on the thread that called the manager. Must not use the manager.
///
/// Errors: an exception ends the transfer, and the manager throws it.
class VEXIL_API IS3TransferObserver : public virtual IBase {
public:
    /// Called at least ten times a second while bytes are transferred, and at the end. Bytes of a part that
    /// must be sent or read again are taken off.
    /// \param doneBytes   bytes of the object that were transferred, also by an earlier transfer that is
    ///                    resumed
    /// \param totalBytes  size of the object; -1 while it is unknown
    virtual void onProgress(int64 doneBytes, int64 totalBytes);
    /// Called when an upload in parts has begun that can be resumed, before the first part is sent. Store the
    /// text if the upload is to be resumed even after the process was killed. It contains no secrets.
    virtual void onUploadBegun(const String& resumeToken);
    /// Called when a request of the transfer has ended for good, with all of its tries:
    /// CS3TransferSettings::recordsTries.
    virtual void onTries(const CTryLog& tries);

protected:
    ~IS3TransferObserver() override;
};

}  // namespace vexil
