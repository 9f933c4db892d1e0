#pragma once

#include "apps/vexil/command/Command.h"

#include <string>

namespace vexil::app {

/// `vexil ftp mv`: an entry under another name.
class CFTPMvCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CContext& context) override;

private:
    std::string m_from;
    std::string m_to;
};

}  // namespace vexil::app
