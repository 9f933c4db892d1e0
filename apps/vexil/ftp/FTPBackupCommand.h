#pragma once

#include "apps/vexil/command/Command.h"
#include "apps/vexil/transfer/TransferQueue.h"

#include <string>
#include <vector>

namespace vexil::app {

/// `vexil ftp backup`: a folder to the files below a directory.
class CFTPBackupCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CContext& context) override;

private:
    std::string m_folder;
    std::string m_directory;
    std::vector<std::string> m_excluded;
    int m_jobs = CTransferQueue::defaultCount;
};

}  // namespace vexil::app
