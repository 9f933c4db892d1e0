#pragma once

#include "apps/vexil/ExitCode.h"

namespace CLI {
class App;
}

namespace vexil::app {

class CContext;

/// One command of the program.
class CCommand {
public:
    virtual ~CCommand();
    CCommand(const CCommand&) = delete;
    CCommand& operator=(const CCommand&) = delete;

    /// Adds the command with its arguments and its help to a group of commands.
    /// \return what was added; it fills this object when the arguments are parsed
    virtual CLI::App* addTo(CLI::App& group) = 0;

    /// Does the work. What it throws is reported by the caller.
    virtual ExitCode run(CContext& context) = 0;

protected:
    CCommand() = default;
};

}  // namespace vexil::app
