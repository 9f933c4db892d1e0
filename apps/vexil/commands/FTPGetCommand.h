#pragma once

#include "apps/vexil/Command.h"
#include "vexil/BaseTypes.h"
#include "zet/OutStream.h"

#include <string>

namespace vexil::app {

/// `vexil ftp get`: a file of the server to a file or to standard output.
class CFTPGetCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CContext& context) override;

private:
    void download(CContext& context, const P<zet::IOutStream>& out) const;

    std::string m_path;
    std::string m_file;
};

}  // namespace vexil::app
