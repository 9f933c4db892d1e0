#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/files/InterruptibleFile.h"
#include "apps/vexil/http/Commands.h"
#include "apps/vexil/http/HTTPTransfer.h"
#include "apps/vexil/session/Session.h"

#include <string>

namespace vexil::app {

namespace {

class CHTTPPutCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_file;
    std::string m_url;
};

void CHTTPPutCommand::define(CCommandSyntax& syntax) {
    syntax.command("put", "Upload a file to a URL (HTTP PUT)")
        .argument("FILE", m_file, "The file to upload")
        .argument("URL", m_url, "The URL to upload to")
        .footer(R"(Example:
  vexil http put list.txt https://example.com/dav/list.txt)");
}

ExitCode CHTTPPutCommand::run(CSession& session) {
    const P<CFileInStream> file = new CInterruptibleFile(toPath(m_file));
    const auto configure = [&file](CNetRequest& request) {
        request.setUpload(true);
        request.setSendDataStream(file);
        request.setSendDataSize(file->getSize());
    };
    const auto check = [&](CNetRequest& request) {
        file->checkUnchanged();
        session.getConsole().message(Verbosity::Info, printable(request.getHTTPStatusLine()));
    };
    CHTTPTransfer transfer(session, m_url, configure, check);
    runHTTPTransfer(session, transfer, true);
    return ExitCode::Done;
}

}  // namespace

std::unique_ptr<CCommand> makeHTTPPut() {
    return std::make_unique<CHTTPPutCommand>();
}

}  // namespace vexil::app
