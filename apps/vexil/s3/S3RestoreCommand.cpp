#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/mirror/Restore.h"
#include "apps/vexil/s3/Commands.h"
#include "apps/vexil/s3/S3Access.h"
#include "apps/vexil/s3/S3Store.h"

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
    CDownloadOptions m_download;
};

void CS3RestoreCommand::define(CCommandSyntax& syntax) {
    syntax.command("restore", "Download all objects below a prefix into a folder")
        .argument("BUCKET", m_bucket, "Bucket of the objects")
        .arguments("FOLDER", "[PREFIX] FOLDER", m_prefixAndFolder, 1, 2,
                   "Folder within the bucket (default: all of it), and the folder to restore to, which is "
                   "created if it does not exist");
    m_download.define(syntax,
                      "How many objects, or parts of an object, are fetched at once, at most (default: 8)");
    syntax.footer(R"(Examples:
  vexil s3 restore backups documents/ restored
  vexil s3 restore backups everything

Objects above 64 MiB follow after the others, one after another, each in parts. Files of the same names are
replaced, each when its new content is complete; others stay. An interrupted download continues where it
stopped, also after the program was killed, if the object is the same. Objects
that cannot become files are listed, for example if the name would lead out of the folder, or if there is a
newer folder of that name. The rest is restored, and the exit code is 1. If there is nothing to restore, it
is 3.)");
}

ExitCode CS3RestoreCommand::run(CSession& session) {
    const std::string prefix = m_prefixAndFolder.size() > 1 ? m_prefixAndFolder.front() : "";
    CS3Access access(session);
    CS3Store store(access, String::fromUTF8(m_bucket), String::fromUTF8(prefix), m_download);
    return CRestore(session, store, toPath(m_prefixAndFolder.back())).run(m_download.getParts().getJobs());
}

}  // namespace

std::unique_ptr<CCommand> makeS3Restore() {
    return std::make_unique<CS3RestoreCommand>();
}

}  // namespace vexil::app
