#pragma once

#include "vexil/BaseTypes.h"
#include "zet/Log.h"

namespace vexil::app {

class CConsole;

/// Shows the library's log on the console, which must outlive it.
class CConsoleLogSink : public virtual CBase, public zet::ILogSink {
public:
    explicit CConsoleLogSink(CConsole& console) : m_console(console) {}

    void log(const zet::CLogMessage& message) override;

private:
    CConsole& m_console;
};

}  // namespace vexil::app
