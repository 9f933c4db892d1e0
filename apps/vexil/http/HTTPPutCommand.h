#pragma once

#include "apps/vexil/command/Command.h"

#include <string>

namespace vexil::app {

/// `vexil http put`: a file to a URL.
class CHTTPPutCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CContext& context) override;

private:
    std::string m_file;
    std::string m_url;
};

}  // namespace vexil::app
