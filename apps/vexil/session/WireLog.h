#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/NetRequest.h"

namespace vexil::app {

class CConsole;
class CVerboseLogFile;

/// Shows the messages on the wire after each transfer, without credentials: on the console if it shows this
/// level, and in the verbose log. One thread.
class CWireLog : public virtual CBase, public CNetRequest::IDoneListener {
public:
    /// Console and file must outlive it.
    /// \param file  null for none
    CWireLog(CConsole& console, CVerboseLogFile* file) : m_console(console), m_file(file) {}

    void onDone(CNetRequest* request, CError* error) override;
    /// Writes only to the verbose log, for a transfer that was given up: a slow reader of the console must
    /// not delay the end of the program.
    void onGivenUp(CNetRequest& request);

private:
    void show(CNetRequest& request);
    void write(CNetRequest& request);

    CConsole& m_console;
    CVerboseLogFile* m_file;
};

}  // namespace vexil::app
