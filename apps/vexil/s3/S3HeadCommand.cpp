#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/console/HeaderList.h"
#include "apps/vexil/s3/Commands.h"
#include "apps/vexil/s3/S3Access.h"
#include "apps/vexil/transfer/AnswerCheck.h"

#include <string>

namespace vexil::app {

namespace {

class CS3HeadCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_bucket;
    std::string m_key;
};

void CS3HeadCommand::define(CCommandSyntax& syntax) {
    syntax.command("head", "Show the headers of an object: size, time, ETag, type")
        .argument("BUCKET", m_bucket, "Bucket of the object")
        .argument("KEY", m_key, "Name of the object")
        .footer(R"(Example:
  vexil s3 head photos 2024/holiday.jpg)");
}

ExitCode CS3HeadCommand::run(CSession& session) {
    CS3Access access(session);
    access.getClient().getObjectHeaders(access.getRequest(), String::fromUTF8(m_bucket),
                                        String::fromUTF8(m_key));
    checkAnswerIsComplete(access.getRequest());
    printHeaders(session.getConsole(), access.getRequest());
    return ExitCode::Done;
}

}  // namespace

std::unique_ptr<CCommand> makeS3Head() {
    return std::make_unique<CS3HeadCommand>();
}

}  // namespace vexil::app
