#pragma once

#include "apps/vexil/command/Command.h"

#include <string>

namespace vexil::app {

/// `vexil ftp rmdir`: one empty directory, deleted.
class CFTPRmdirCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CContext& context) override;

private:
    std::string m_path;
};

}  // namespace vexil::app
