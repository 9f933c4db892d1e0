#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/console/StandardStreams.h"
#include "apps/vexil/files/LeftParts.h"
#include "apps/vexil/files/PartFile.h"
#include "apps/vexil/s3/Commands.h"
#include "apps/vexil/s3/ObjectDownload.h"
#include "apps/vexil/s3/S3Access.h"
#include "apps/vexil/transfer/SingleTransfer.h"
#include "vexil/BaseTypes.h"
#include "zet/OutStream.h"

#include <string>

namespace vexil::app {

namespace {

class CS3GetCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    void download(CS3Access& access, const P<zet::IOutStream>& out) const;

    std::string m_bucket;
    std::string m_key;
    std::string m_file;
};

void CS3GetCommand::define(CCommandSyntax& syntax) {
    syntax.command("get", "Download an object")
        .argument("BUCKET", m_bucket, "Bucket of the object")
        .argument("KEY", m_key, "Name of the object")
        .optionalArgument("FILE", m_file,
                          "The file to write; an existing file is replaced (default: standard output)")
        .footer(R"(Examples:
  vexil s3 get photos 2024/holiday.jpg holiday.jpg
  vexil s3 get backups list.txt | less

An interrupted download continues where it stopped. The file gets its name when it is complete. A failed
download leaves no file.)");
}

ExitCode CS3GetCommand::run(CSession& session) {
    // Check the keys first, so that a missing key does not destroy an existing file.
    CS3Access access(session);
    if (m_file.empty() || m_file == "-") {
        download(access, new CStandardOutStream(session.getConsole()));
    } else {
        CLeftParts::clearOf(session.getConsole(), toPath(m_file));
        CPartFile file(toPath(m_file));
        download(access, file.getStream());
        file.commit();
    }
    return ExitCode::Done;
}

void CS3GetCommand::download(CS3Access& access, const P<zet::IOutStream>& out) const {
    CObjectDownload objectDownload(access, String::fromUTF8(m_bucket), String::fromUTF8(m_key), out);
    runSingleTransfer(access.getSession(), access.getPolicy(), objectDownload);
}

}  // namespace

std::unique_ptr<CCommand> makeS3Get() {
    return std::make_unique<CS3GetCommand>();
}

}  // namespace vexil::app
