#pragma once

#include "apps/vexil/transfer/Transfer.h"
#include "zet/OutStream.h"

namespace vexil::app {

/// A transfer that brings one stored file, or object, into a stream.
class IDownload : public ITransfer {
public:
    /// How often it has gone on where it broke, so far.
    virtual int getContinuationCount() const noexcept = 0;
};

}  // namespace vexil::app
