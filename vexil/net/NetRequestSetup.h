#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

namespace vexil {

class CNetRequest;

/// What a caller of a client's convenience operations wants set on every request: CA bundle, proxy,
/// time-outs, verbose log, done listener.
///
/// The client calls it as the last step of the common beginning of each preparation, on the caller's thread.
/// It may not set URL, method, header list, source, sink or range: those belong to the operation, and a
/// replaced header list or sink is a CInvalidArgError. What it throws ends the operation before anything is
/// sent.
class VEXIL_API INetRequestSetup : public virtual IBase {
public:
    virtual void setUp(CNetRequest& request) = 0;

protected:
    ~INetRequestSetup() override;
};

}  // namespace vexil
