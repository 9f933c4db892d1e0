#include "apps/vexil/commands/S3CpCommand.h"

#include "apps/vexil/Context.h"

#include <CLI/CLI.hpp>

namespace vexil::app {

CLI::App* CS3CpCommand::addTo(CLI::App& group) {
    CLI::App* command = group.add_subcommand("cp", "Copy an object within its bucket, on the server");
    command->add_option("BUCKET", m_bucket, "Bucket that holds it")->required();
    command->add_option("FROM", m_from, "Name of the object")->required();
    command->add_option("TO", m_to, "Name of the copy; an object of this name is replaced")->required();
    command->footer(R"(Example:
  vexil s3 cp photos holiday.jpg 2024/holiday.jpg)");
    return command;
}

ExitCode CS3CpCommand::run(CContext& context) {
    context.getClient().copyObject(context.getRequest(), String::fromUTF8(m_bucket), String::fromUTF8(m_from),
                                   String::fromUTF8(m_to));
    return ExitCode::Done;
}

}  // namespace vexil::app
