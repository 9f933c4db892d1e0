#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/s3/Commands.h"
#include "apps/vexil/s3/S3Access.h"
#include "zet/TimeSpan.h"

#include <string>

namespace vexil::app {

namespace {

constexpr int64 secondsPerHour = 3600;

class CS3PresignCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_bucket;
    std::string m_key;
    std::string m_method = "GET";
    int64 m_validity = secondsPerHour;
};

void CS3PresignCommand::define(CCommandSyntax& syntax) {
    syntax.command("presign", "Print a URL with which everybody can download, or upload, an object")
        .argument("BUCKET", m_bucket, "Bucket of the object")
        .argument("KEY", m_key, "Name of the object")
        .duration("--expires", m_validity,
                  "How long the URL can be used (default: 1h; at most 7d, more only with --signature v2)")
        .choice("--method", "METHOD", m_method, {"GET", "PUT"},
                "GET (default): the URL downloads the object; PUT: it uploads the object")
        .footer(R"(Examples:
  vexil s3 presign photos 2024/holiday.jpg --expires 7d
  vexil s3 presign photos holiday.jpg --method PUT

Nothing is sent to the server, and the object need not exist. The URL is a secret until it expires. If the
keys are temporary, it expires with them at the latest.)");
}

ExitCode CS3PresignCommand::run(CSession& session) {
    CS3Access access(session);
    session.getConsole().print(access.getClient().makePresignedURL(
        String(m_method), String::fromUTF8(m_bucket), String::fromUTF8(m_key),
        zet::CTimeSpan::fromSeconds(m_validity)));
    return ExitCode::Done;
}

}  // namespace

std::unique_ptr<CCommand> makeS3Presign() {
    return std::make_unique<CS3PresignCommand>();
}

}  // namespace vexil::app
