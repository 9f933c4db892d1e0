#pragma once

#include "apps/vexil/base/ExitCode.h"

namespace vexil::app {

class CCommandSyntax;
class CContext;

/// One command of the program.
class CCommand {
public:
    virtual ~CCommand();
    CCommand(const CCommand&) = delete;
    CCommand& operator=(const CCommand&) = delete;

    /// Says what the command is called and what it takes. Parsing the command line then fills this object.
    virtual void define(CCommandSyntax& syntax) = 0;

    /// Does the work. What it throws is reported by the caller.
    virtual ExitCode run(CContext& context) = 0;

protected:
    CCommand() = default;
};

}  // namespace vexil::app
