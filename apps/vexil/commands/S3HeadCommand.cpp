#include "apps/vexil/commands/S3HeadCommand.h"

#include "apps/vexil/Context.h"
#include "apps/vexil/HeaderList.h"

#include <CLI/CLI.hpp>

namespace vexil::app {

CLI::App* CS3HeadCommand::addTo(CLI::App& group) {
    CLI::App* command = group.add_subcommand("head", "Show the headers of an object: size, time, ETag, type");
    command->add_option("BUCKET", m_bucket, "Bucket that holds it")->required();
    command->add_option("KEY", m_key, "Name of the object")->required();
    command->footer(R"(Example:
  vexil s3 head photos 2024/holiday.jpg)");
    return command;
}

ExitCode CS3HeadCommand::run(CContext& context) {
    context.getClient().getObjectHeaders(context.getRequest(), String::fromUTF8(m_bucket),
                                         String::fromUTF8(m_key));
    printHeaders(context.getConsole(), context.getRequest());
    return ExitCode::Done;
}

}  // namespace vexil::app
