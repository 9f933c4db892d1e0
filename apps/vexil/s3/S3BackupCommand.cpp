#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/mirror/Backup.h"
#include "apps/vexil/s3/Commands.h"
#include "apps/vexil/s3/S3Access.h"
#include "apps/vexil/s3/S3Store.h"

#include <string>
#include <vector>

namespace vexil::app {

namespace {

class CS3BackupCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_folder;
    std::string m_bucket;
    std::string m_prefix;
    std::vector<std::string> m_excluded;
    CUploadOptions m_upload;
};

void CS3BackupCommand::define(CCommandSyntax& syntax) {
    syntax.command("backup", "Store all files of a folder as objects")
        .argument("FOLDER", m_folder, "Folder to back up, with everything below it")
        .argument("BUCKET", m_bucket, "Bucket for the objects")
        .optionalArgument("PREFIX", m_prefix, "Folder within the bucket (default: none)")
        .options("--exclude", "PATH", m_excluded,
                 "A file or folder to leave out, relative to FOLDER; may be repeated");
    m_upload.define(syntax, "How many files, or parts of a file, are stored at once, at most (default: 8)");
    syntax.footer(R"(Examples:
  vexil s3 backup ~/Documents backups documents/
  vexil s3 backup project backups --exclude build --exclude .cache

Each regular file becomes an object named PREFIX/path. Files above 64 MiB follow after the others, one after
another, each in parts. Links and special files are listed and skipped; empty folders, modes and times are
not kept. Files that cannot be read or that change during the backup are listed; the rest is stored and the
exit code is 1. Only a backup that is killed leaves parts: 'vexil s3 uploads abort' deletes them.

At the end the bucket is listed below PREFIX. If a file has become a folder, its old object is deleted after
all files are stored. If a folder has become a file, its old objects stay; they are listed, and the exit
code is 1. If the keys are not allowed to list the bucket, there is a warning.)");
}

ExitCode CS3BackupCommand::run(CSession& session) {
    const CFolderWalker walker(toPath(m_folder), m_excluded);
    CS3Access access(session);
    CS3Store store(access, String::fromUTF8(m_bucket), String::fromUTF8(m_prefix), m_upload);
    return CBackup(session, store).run(walker, m_upload.getParts().getJobs());
}

}  // namespace

std::unique_ptr<CCommand> makeS3Backup() {
    return std::make_unique<CS3BackupCommand>();
}

}  // namespace vexil::app
