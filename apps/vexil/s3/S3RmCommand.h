#pragma once

#include "apps/vexil/command/Command.h"

#include <string>

namespace vexil::app {

/// `vexil s3 rm`: one object, or all below a prefix, deleted.
class CS3RmCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CContext& context) override;

private:
    ExitCode removeAll(CContext& context) const;

    std::string m_bucket;
    std::string m_key;
    bool m_isRecursive = false;
};

}  // namespace vexil::app
