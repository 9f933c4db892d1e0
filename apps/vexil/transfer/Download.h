#pragma once

#include "vexil/async/ITransfer.h"
#include "zet/OutStream.h"

namespace vexil::app {

/// A transfer of one stored file, or object, into a stream.
class IDownload : public ITransfer {
public:
    /// How often it has continued after an interruption so far.
    virtual int getContinuationCount() const noexcept = 0;
};

}  // namespace vexil::app
