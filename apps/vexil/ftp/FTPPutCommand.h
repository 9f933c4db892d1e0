#pragma once

#include "apps/vexil/command/Command.h"

#include <string>

namespace vexil::app {

/// `vexil ftp put`: a file to the server.
class CFTPPutCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CContext& context) override;

private:
    std::string m_file;
    std::string m_path;
    bool m_makesParents = false;
};

}  // namespace vexil::app
