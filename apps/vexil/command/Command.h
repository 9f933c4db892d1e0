#pragma once

#include "apps/vexil/base/ExitCode.h"

namespace vexil::app {

class CCommandSyntax;
class CSession;

/// One command of the program.
class CCommand {
public:
    virtual ~CCommand() = default;
    CCommand(const CCommand&) = delete;
    CCommand& operator=(const CCommand&) = delete;

    /// Describes the name, arguments and options of the command. Parsing the command line then fills this
    /// object.
    virtual void define(CCommandSyntax& syntax) = 0;

    /// Runs the command. The caller reports what it throws.
    virtual ExitCode run(CSession& session) = 0;

protected:
    CCommand() = default;
};

}  // namespace vexil::app
