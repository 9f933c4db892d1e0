#pragma once

#include "apps/vexil/command/Command.h"
#include "vexil/BaseTypes.h"
#include "zet/OutStream.h"

#include <string>

namespace vexil::app {

/// `vexil s3 get`: an object to a file or to standard output.
class CS3GetCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CContext& context) override;

private:
    void download(CContext& context, const P<zet::IOutStream>& out) const;

    std::string m_bucket;
    std::string m_key;
    std::string m_file;
};

}  // namespace vexil::app
