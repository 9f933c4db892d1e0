#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/s3/Commands.h"
#include "apps/vexil/s3/S3Access.h"

#include <string>

namespace vexil::app {

namespace {

class CS3CpCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_bucket;
    std::string m_from;
    std::string m_to;
};

void CS3CpCommand::define(CCommandSyntax& syntax) {
    syntax.command("cp", "Copy an object within its bucket, on the server")
        .argument("BUCKET", m_bucket, "Bucket of the object")
        .argument("FROM", m_from, "Name of the object")
        .argument("TO", m_to, "Name of the copy; an existing object is replaced")
        .footer(R"(Example:
  vexil s3 cp photos holiday.jpg 2024/holiday.jpg)");
}

ExitCode CS3CpCommand::run(CSession& session) {
    CS3Access access(session);
    access.getClient().copyObject(access.getRequest(), String::fromUTF8(m_bucket), String::fromUTF8(m_from),
                                  String::fromUTF8(m_to));
    return ExitCode::Done;
}

}  // namespace

std::unique_ptr<CCommand> makeS3Cp() {
    return std::make_unique<CS3CpCommand>();
}

}  // namespace vexil::app
