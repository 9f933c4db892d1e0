#pragma once

#include "apps/vexil/command/Command.h"
#include "apps/vexil/transfer/TransferQueue.h"

#include <string>
#include <vector>

namespace vexil::app {

/// `vexil s3 restore`: objects to a folder.
class CS3RestoreCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CContext& context) override;

private:
    std::string m_bucket;
    std::vector<std::string> m_prefixAndFolder;
    int m_jobs = CTransferQueue::defaultCount;
};

}  // namespace vexil::app
