#pragma once

#include "apps/vexil/command/Command.h"

#include <string>

namespace vexil::app {

/// `vexil s3 mb`: a new bucket.
class CS3MbCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CContext& context) override;

private:
    std::string m_bucket;
};

}  // namespace vexil::app
