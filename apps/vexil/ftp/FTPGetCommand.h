#pragma once

#include "apps/vexil/command/Command.h"
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
    static void download(CContext& context, const String& path, const P<zet::IOutStream>& out);

    std::string m_path;
    std::string m_file;
};

}  // namespace vexil::app
