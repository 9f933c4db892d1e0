#pragma once

#include "apps/vexil/command/Command.h"
#include "apps/vexil/transfer/TransferQueue.h"

#include <string>

namespace vexil::app {

/// `vexil ftp restore`: files below a directory to a folder.
class CFTPRestoreCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CContext& context) override;

private:
    std::string m_directory;
    std::string m_folder;
    int m_jobs = CTransferQueue::defaultCount;
};

}  // namespace vexil::app
