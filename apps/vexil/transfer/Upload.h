#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/async/ITransfer.h"

namespace vexil::app {

/// The upload of a file to a store.
class IUpload : public ITransfer {
public:
    /// After the transfer has succeeded: what the store will list as IStoredFile::getMark(); "" if the server
    /// did not say.
    virtual String getMark() const = 0;
};

}  // namespace vexil::app
