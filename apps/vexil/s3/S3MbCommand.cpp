#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/s3/Commands.h"
#include "apps/vexil/s3/S3Access.h"
#include "apps/vexil/transfer/ResponseCheck.h"
#include "zet/TimeFields.h"

#include <string>

namespace vexil::app {

namespace {

class CS3MbCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_bucket;
};

void CS3MbCommand::define(CCommandSyntax& syntax) {
    syntax.command("mb", "Make a bucket")
        .argument("BUCKET", m_bucket, "Name of the bucket")
        .footer(R"(Example:
  vexil s3 mb photos)");
}

ExitCode CS3MbCommand::run(CSession& session) {
    if (m_bucket.empty()) {
        throw CInvalidArgError("vexil s3 mb", "bucket name must not be empty");
    }
    CS3Access access(session);
    CS3Client& client = access.getClient();
    CNetRequest& request = session.getRequest();
    request.setURL(client.getBucketURL(String::fromUTF8(m_bucket)));
    request.setHTTPMethod("PUT");
    request.setSendDataSize(0);
    const P<CNetHeaders> headers = new CNetHeaders;
    headers->add("Date", zet::CTimeFields(zet::CTime::now()).toInternetTimestamp());
    request.setCustomHTTPHeaders(headers);
    session.getSetup().setUp(request);
    client.signRequest(&request);
    client.performRequest(request);
    checkResponseIsComplete(request);
    return ExitCode::Done;
}

}  // namespace

std::unique_ptr<CCommand> makeS3Mb() {
    return std::make_unique<CS3MbCommand>();
}

}  // namespace vexil::app
