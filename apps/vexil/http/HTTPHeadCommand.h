#pragma once

#include "apps/vexil/command/Command.h"

#include <string>

namespace vexil::app {

/// `vexil http head`: the headers of a URL.
class CHTTPHeadCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CContext& context) override;

private:
    std::string m_url;
};

}  // namespace vexil::app
