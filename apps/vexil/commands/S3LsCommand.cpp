#include "apps/vexil/commands/S3LsCommand.h"

#include "apps/vexil/Context.h"
#include "apps/vexil/Interrupt.h"
#include "apps/vexil/Text.h"
#include "vexil/s3/S3ObjectEnum.h"

#include <CLI/CLI.hpp>

namespace vexil::app {

namespace {

constexpr std::size_t sizeColumns = 12;

String padLeft(const String& text) {
    const std::size_t missing = text.length() < sizeColumns ? sizeColumns - text.length() : 0;
    return String(std::wstring(missing, L' ')) + text;
}

}  // namespace

CLI::App* CS3LsCommand::addTo(CLI::App& group) {
    CLI::App* command =
        group.add_subcommand("ls", "List the objects of a bucket: size, time of change, name");
    command->add_option("BUCKET", m_bucket, "Bucket to list")->required();
    command->add_option("PREFIX", m_prefix, "Only names that begin like this (default: all)");
    command->footer(R"(Examples:
  vexil s3 ls photos
  vexil s3 ls photos 2024/)");
    return command;
}

ExitCode CS3LsCommand::run(CContext& context) {
    CConsole& console = context.getConsole();
    CS3ObjectEnum objects(&context.getClient(), &context.getRequest(), String::fromUTF8(m_bucket),
                          String::fromUTF8(m_prefix), "", -1);
    while (objects.next()) {
        CInterrupt::throwIfRequested();
        const P<CS3ListObjectsElement> element = objects.getCurrObject();
        console.print(padLeft(String::fromInt(element->getSize())) + "  " +
                      printable(element->getLastModified()) + "  " + printable(element->getKey()));
    }
    return ExitCode::Done;
}

}  // namespace vexil::app
