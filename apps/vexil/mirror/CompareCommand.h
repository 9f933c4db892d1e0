#pragma once

#include "apps/vexil/command/Command.h"

#include <string>
#include <vector>

namespace vexil::app {

/// `vexil compare`: two folders, byte for byte.
class CCompareCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CContext& context) override;

private:
    std::string m_first;
    std::string m_second;
    std::vector<std::string> m_excluded;
};

}  // namespace vexil::app
