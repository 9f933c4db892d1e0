#pragma once

#include "apps/vexil/command/Command.h"

#include <string>

namespace vexil::app {

/// `vexil ftp mkdir`: a new directory.
class CFTPMkdirCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CContext& context) override;

private:
    std::string m_path;
    bool m_makesParents = false;
};

}  // namespace vexil::app
