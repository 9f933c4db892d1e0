#pragma once

#include "apps/vexil/command/Command.h"

#include <string>

namespace vexil::app {

/// `vexil s3 put`: a file to an object.
class CS3PutCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CContext& context) override;

private:
    std::string m_file;
    std::string m_bucket;
    std::string m_key;
    std::string m_contentType = "application/octet-stream";
};

}  // namespace vexil::app
