#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/NetRequest.h"

namespace vexil::app {

class CConsole;
class CVerboseLogFile;

/// Tells what went over the wire, without credentials, after each transfer: on the console where that shows messages of
/// this level, and in the verbose log. One thread.
class CWireLog : public virtual CBase, public CNetRequest::IDoneListener {
public:
    /// Console and file must outlive it.
    /// \param file  null for none
    CWireLog(CConsole& console, CVerboseLogFile* file) : m_console(console), m_file(file) {}

    void onDone(CNetRequest* request, CError* error) override;
    /// Tells the verbose log alone, for a transfer that was given up: whoever does not read the console must not hold up
    /// the program's end.
    void onGivenUp(CNetRequest& request);

private:
    void show(CNetRequest& request);
    void write(CNetRequest& request);

    CConsole& m_console;
    CVerboseLogFile* m_file;
};

}  // namespace vexil::app
