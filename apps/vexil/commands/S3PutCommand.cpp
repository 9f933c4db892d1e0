#include "apps/vexil/commands/S3PutCommand.h"

#include "apps/vexil/Context.h"
#include "apps/vexil/FileInStream.h"
#include "apps/vexil/Progress.h"
#include "apps/vexil/Text.h"

#include <CLI/CLI.hpp>

namespace vexil::app {

CLI::App* CS3PutCommand::addTo(CLI::App& group) {
    CLI::App* command = group.add_subcommand("put", "Store a file as an object");
    command->add_option("FILE", m_file, "What to store, at most 5 GiB")->required();
    command->add_option("BUCKET", m_bucket, "Bucket to store it in")->required();
    command->add_option("KEY", m_key, "Name of the object; one of this name is replaced")->required();
    command
        ->add_option("--content-type", m_contentType,
                     "MIME type to keep with it (default: application/octet-stream)")
        ->type_name("TYPE");
    command->footer(R"(Example:
  vexil s3 put holiday.jpg photos 2024/holiday.jpg --content-type image/jpeg)");
    return command;
}

ExitCode CS3PutCommand::run(CContext& context) {
    const P<CFileInStream> file = new CFileInStream(toPath(m_file));
    CProgress progress(context.getConsole());
    const CProgressScope scope(context, progress);
    context.getClient().putObject(context.getRequest(), String::fromUTF8(m_bucket), String::fromUTF8(m_key),
                                  file.get(), file->getSize(), String::fromUTF8(m_contentType));
    return ExitCode::Done;
}

}  // namespace vexil::app
