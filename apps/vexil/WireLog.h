#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/NetRequest.h"

namespace vexil::app {

class CConsole;

/// Shows what went over the wire, without credentials, after each transfer. The console must outlive it. Any thread.
class CWireLog : public virtual CBase, public CNetRequest::IDoneListener {
public:
    explicit CWireLog(CConsole& console) : m_console(console) {}

    void onDone(CNetRequest* request, CError* error) override;

private:
    void show(CNetRequest& request);

    CConsole& m_console;
};

}  // namespace vexil::app
