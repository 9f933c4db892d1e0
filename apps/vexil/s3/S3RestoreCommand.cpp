#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/mirror/Restore.h"
#include "apps/vexil/s3/Commands.h"
#include "apps/vexil/s3/S3Access.h"
#include "apps/vexil/s3/S3RestoreSource.h"
#include "apps/vexil/transfer/TransferQueue.h"

#include <string>
#include <vector>

namespace vexil::app {

namespace {

class CS3RestoreCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_bucket;
    std::vector<std::string> m_prefixAndFolder;
    int m_jobs = CTransferQueue::defaultCount;
};

void CS3RestoreCommand::define(CCommandSyntax& syntax) {
    syntax.command("restore", "Make files of all objects below a prefix")
        .argument("BUCKET", m_bucket, "Bucket that holds them")
        .arguments("FOLDER", "[PREFIX] FOLDER", m_prefixAndFolder, 1, 2,
                   "Folder within the bucket (default: all of it), and the folder to restore to, which is "
                   "made if need be")
        .number("--jobs", "N", m_jobs, 1, CTransferQueue::maxCount,
                "How many objects are fetched at once, at most (default: 8)")
        .footer(R"(Examples:
  vexil s3 restore backups documents/ restored
  vexil s3 restore backups everything

Files of the same names are replaced, each when its new content is complete; others stay. A download
that breaks goes on where it broke; one of a killed program, too, if the object is
the same. An object that cannot become a file (because
its name would lead out of the folder, or it is both a file and a folder, of which the newer is restored)
is named, the rest is restored, and the exit code is 1. If nothing is there to restore, it is 3.)");
}

ExitCode CS3RestoreCommand::run(CSession& session) {
    const std::string prefix = m_prefixAndFolder.size() > 1 ? m_prefixAndFolder.front() : "";
    CS3Access access(session);
    CS3RestoreSource source(access, String::fromUTF8(m_bucket), String::fromUTF8(prefix));
    return CRestore(session, source, toPath(m_prefixAndFolder.back())).run(m_jobs);
}

}  // namespace

std::unique_ptr<CCommand> makeS3Restore() {
    return std::make_unique<CS3RestoreCommand>();
}

}  // namespace vexil::app
