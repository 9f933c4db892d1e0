#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/s3/Commands.h"
#include "apps/vexil/session/Context.h"
#include "apps/vexil/transfer/AnswerCheck.h"
#include "zet/TimeFields.h"

#include <string>

namespace vexil::app {

namespace {

class CS3MbCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CContext& context) override;

private:
    std::string m_bucket;
};

void CS3MbCommand::define(CCommandSyntax& syntax) {
    syntax.command("mb", "Make a bucket")
        .argument("BUCKET", m_bucket, "Name of the bucket")
        .footer(R"(Example:
  vexil s3 mb photos)");
}

ExitCode CS3MbCommand::run(CContext& context) {
    if (m_bucket.empty()) {
        throw CInvalidArgError("vexil s3 mb", "bucket name must not be empty");
    }
    CS3Client& client = context.getClient();
    CNetRequest& request = context.getRequest();
    request.setURL(client.getBaseURL() + request.urlEscape(String::fromUTF8(m_bucket)));
    request.setHTTPMethod("PUT");
    request.setSendDataSize(0);
    const P<CNetHeaders> headers = new CNetHeaders;
    headers->add("Date", zet::CTimeFields(zet::CTime::now()).toInternetTimestamp());
    request.setCustomHTTPHeaders(headers);
    context.getSetup().setUp(request);
    client.signRequest(&request);
    client.performRequest(request);
    checkAnswerIsComplete(request);
    return ExitCode::Done;
}

}  // namespace

std::unique_ptr<CCommand> makeS3Mb() {
    return std::make_unique<CS3MbCommand>();
}

}  // namespace vexil::app
