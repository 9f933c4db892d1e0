#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/files/InterruptibleFile.h"
#include "apps/vexil/s3/Commands.h"
#include "apps/vexil/s3/ObjectUpload.h"
#include "apps/vexil/s3/S3Access.h"
#include "apps/vexil/transfer/SingleTransfer.h"

#include <string>

namespace vexil::app {

namespace {

class CS3PutCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_file;
    std::string m_bucket;
    std::string m_key;
    std::string m_contentType = "application/octet-stream";
};

void CS3PutCommand::define(CCommandSyntax& syntax) {
    syntax.command("put", "Store a file as an object")
        .argument("FILE", m_file, "The file to store, at most 5 GiB")
        .argument("BUCKET", m_bucket, "Bucket of the object")
        .argument("KEY", m_key, "Name of the object; an existing object is replaced")
        .option("--content-type", "TYPE", m_contentType,
                "MIME type of the object (default: application/octet-stream)")
        .footer(R"(Example:
  vexil s3 put holiday.jpg photos 2024/holiday.jpg --content-type image/jpeg)");
}

ExitCode CS3PutCommand::run(CSession& session) {
    const P<CFileInStream> file = new CInterruptibleFile(toPath(m_file));
    CS3Access access(session);
    CObjectUpload upload(access, file, String::fromUTF8(m_bucket), String::fromUTF8(m_key),
                         String::fromUTF8(m_contentType));
    runSingleTransfer(session, access.getPolicy(), upload);
    file->checkUnchanged();
    return ExitCode::Done;
}

}  // namespace

std::unique_ptr<CCommand> makeS3Put() {
    return std::make_unique<CS3PutCommand>();
}

}  // namespace vexil::app
