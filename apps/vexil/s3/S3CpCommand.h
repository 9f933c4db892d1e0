#pragma once

#include "apps/vexil/command/Command.h"

#include <string>

namespace vexil::app {

/// `vexil s3 cp`: a copy of an object, on the server's side.
class CS3CpCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CContext& context) override;

private:
    std::string m_bucket;
    std::string m_from;
    std::string m_to;
};

}  // namespace vexil::app
