#pragma once

#include "apps/vexil/command/Command.h"

#include <string>

namespace vexil::app {

/// `vexil s3 ls`: the objects of a bucket.
class CS3LsCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CContext& context) override;

private:
    std::string m_bucket;
    std::string m_prefix;
};

}  // namespace vexil::app
