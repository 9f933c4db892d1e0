#include "apps/vexil/commands/S3BackupCommand.h"

#include "apps/vexil/Backup.h"
#include "apps/vexil/Context.h"
#include "apps/vexil/Text.h"

#include <CLI/CLI.hpp>

namespace vexil::app {

CLI::App* CS3BackupCommand::addTo(CLI::App& group) {
    CLI::App* command = group.add_subcommand("backup", "Store all files of a folder as objects");
    command->add_option("FOLDER", m_folder, "Folder to back up, with all below it")->required();
    command->add_option("BUCKET", m_bucket, "Bucket to store them in")->required();
    command->add_option("PREFIX", m_prefix, "Folder within the bucket (default: none)");
    command
        ->add_option("--exclude", m_excluded,
                     "A file or folder to leave out, relative to FOLDER; may be repeated")
        ->type_name("PATH")
        ->expected(1)
        ->take_all();
    command->footer(R"(Examples:
  vexil s3 backup ~/Documents backups documents/
  vexil s3 backup project backups --exclude build --exclude .cache

Each regular file becomes an object named PREFIX/path, of at most 5 GiB. Links and special files are named and
skipped; empty folders, modes and times are not kept. A file that cannot be read, or is changed
meanwhile, is named, the rest is stored, and the exit code is 1.)");
    return command;
}

ExitCode CS3BackupCommand::run(CContext& context) {
    const CFolderWalker walker(toPath(m_folder), m_excluded);
    context.getClient();
    CBackup backup(context, String::fromUTF8(m_bucket), String::fromUTF8(m_prefix));
    try {
        backup.run(walker);
    } catch (const std::exception&) {
        backup.printReport();
        throw;
    }
    backup.printReport();
    return backup.getFailureCount() == 0 ? ExitCode::Done : ExitCode::Failed;
}

}  // namespace vexil::app
