#include "apps/vexil/s3/S3HeadCommand.h"

#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/console/HeaderList.h"
#include "apps/vexil/session/Context.h"
#include "apps/vexil/transfer/AnswerCheck.h"

namespace vexil::app {

void CS3HeadCommand::define(CCommandSyntax& syntax) {
    syntax.command("head", "Show the headers of an object: size, time, ETag, type")
        .argument("BUCKET", m_bucket, "Bucket that holds it")
        .argument("KEY", m_key, "Name of the object")
        .footer(R"(Example:
  vexil s3 head photos 2024/holiday.jpg)");
}

ExitCode CS3HeadCommand::run(CContext& context) {
    context.getClient().getObjectHeaders(context.getRequest(), String::fromUTF8(m_bucket),
                                         String::fromUTF8(m_key));
    checkAnswerIsComplete(context.getRequest());
    printHeaders(context.getConsole(), context.getRequest());
    return ExitCode::Done;
}

}  // namespace vexil::app
