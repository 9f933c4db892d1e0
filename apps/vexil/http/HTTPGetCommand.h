#pragma once

#include "apps/vexil/command/Command.h"

#include <string>

namespace vexil::app {

/// `vexil http get`: a URL to a file or to standard output.
class CHTTPGetCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CContext& context) override;

private:
    std::string m_url;
    std::string m_file;
};

}  // namespace vexil::app
